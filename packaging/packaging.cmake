# Installation, the Debian package and the archive for images without dpkg. Included by the top
# CMakeLists.txt.
#
#   cmake --install build/release                  daemon, tool, manuals, service files
#   cmake --build build/release --target package   the same as paneld_VERSION_ARCHITECTURE.deb
#                                                  and .tar.gz
#
# The version is that of project(), its date stands in CHANGELOG.md.

if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "" FORCE)
endif()
include(GNUInstallDirs)

set(paneld_packaging ${CMAKE_CURRENT_LIST_DIR})
set(paneld_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/paneld)

install(TARGETS paneld DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(FILES ${paneld_packaging}/paneld.service DESTINATION /lib/systemd/system)
install(PROGRAMS ${paneld_packaging}/paneld.init DESTINATION /etc/init.d RENAME paneld)
install(DIRECTORY ${paneld_packaging}/examples DESTINATION ${paneld_doc} USE_SOURCE_PERMISSIONS)
install(FILES ${paneld_packaging}/debian/lintian-overrides
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME paneld)

if(PANELD_TOOLS)
  install(TARGETS panelctl DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${paneld_packaging}/panelctl.bash-completion
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME panelctl)

  set(manual ${CMAKE_BINARY_DIR}/manual)
  set(changes ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changes})
  file(STRINGS ${changes} release REGEX "^## \\[${PROJECT_VERSION}\\] - ")
  if(NOT release MATCHES "[0-9]+-[0-9]+-[0-9]+$")
    message(FATAL_ERROR "CHANGELOG.md has no line \"## [${PROJECT_VERSION}] - YYYY-MM-DD\"")
  endif()
  set(release_day ${CMAKE_MATCH_0})
  set(ENV{LC_ALL} C)
  execute_process(COMMAND date -u -d ${release_day} "+%B %-d, %Y"
    OUTPUT_VARIABLE RELEASE_DATE OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND date -u -d ${release_day} -R
    OUTPUT_VARIABLE RELEASE_MAIL_DATE OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  # In the form of a field of the copyright file: indented, a point for a blank line.
  file(READ ${CMAKE_SOURCE_DIR}/LICENSE LICENSE_TEXT)
  string(STRIP "${LICENSE_TEXT}" LICENSE_TEXT)
  string(REPLACE "\n\n" "\n.\n" LICENSE_TEXT "${LICENSE_TEXT}")
  string(REPLACE "\n" "\n " LICENSE_TEXT "${LICENSE_TEXT}")
  foreach(text man/panelctl.1 man/paneld.8 debian/changelog debian/copyright)
    configure_file(${paneld_packaging}/${text}.in ${manual}/${text} @ONLY)
  endforeach()

  # Manuals and changelog, compressed without a time stamp: the same sources, the same bytes.
  add_custom_command(OUTPUT ${manual}/paneld.8 ${manual}/paneld.8.gz
    COMMAND awk -f ${paneld_packaging}/man/messages.awk ${CMAKE_SOURCE_DIR}/docs/messages.md
      ${manual}/man/paneld.8 > ${manual}/paneld.8
    COMMAND gzip -9nc ${manual}/paneld.8 > ${manual}/paneld.8.gz
    DEPENDS ${paneld_packaging}/man/messages.awk ${manual}/man/paneld.8
      ${CMAKE_SOURCE_DIR}/docs/messages.md
    VERBATIM)
  add_custom_command(OUTPUT ${manual}/panelctl.1.gz ${manual}/changelog.gz
    COMMAND gzip -9nc ${manual}/man/panelctl.1 > ${manual}/panelctl.1.gz
    COMMAND gzip -9nc ${manual}/debian/changelog > ${manual}/changelog.gz
    DEPENDS ${manual}/man/panelctl.1 ${manual}/debian/changelog
    VERBATIM)
  add_custom_target(manual ALL DEPENDS
    ${manual}/paneld.8.gz ${manual}/panelctl.1.gz ${manual}/changelog.gz)
  install(FILES ${manual}/paneld.8.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
  install(FILES ${manual}/panelctl.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${manual}/changelog.gz ${manual}/debian/copyright DESTINATION ${paneld_doc})
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PROJECT_CONFIG_FILE ${paneld_packaging}/complete.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${paneld_packaging}/archive.cmake)
set(CPACK_PANELD_TOOLS ${PANELD_TOOLS})
set(CPACK_PANELD_RELEASE_DAY ${release_day})
set(CPACK_PACKAGE_NAME paneld)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "the paneld authors <authors@paneld.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${PANELD_ARCHITECTURE})             # these two are set by
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PANELD_LIBRARY_FOLDERS}) # a cross build
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${paneld_packaging}/debian/postinst
  ${paneld_packaging}/debian/prerm
  ${paneld_packaging}/debian/postrm
  ${paneld_packaging}/debian/conffiles)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "front-panel status display of the gateway")
# CPack indents the lines by itself.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Shows the state of an embedded Linux gateway on its small monochrome front
panel: clock, network addresses, cellular modem, log lines of other
processes, identity, version, TF card and serial channels. One button steps
through the pages and, held for ten seconds, restarts the gateway.
.
The package brings the daemon paneld and panelctl, a tool that shows the
panel in a terminal, sends log lines, and looks after the message queue,
the configuration files and the modem.")
include(CPack)
