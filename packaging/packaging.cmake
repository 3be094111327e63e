# Installation and the Debian package. Included by the top CMakeLists.txt.
#
#   cmake --install build/release                  daemon, tool, manuals, service files
#   cmake --build build/release --target package   the same as paneld_VERSION_ARCHITECTURE.deb

if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "" FORCE)
endif()
include(GNUInstallDirs)

set(paneld_packaging ${CMAKE_CURRENT_LIST_DIR})
set(paneld_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/paneld)

install(TARGETS paneld DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(FILES ${paneld_packaging}/paneld.service DESTINATION /lib/systemd/system)
install(PROGRAMS ${paneld_packaging}/paneld.init DESTINATION /etc/init.d RENAME paneld)
install(FILES ${paneld_packaging}/debian/copyright DESTINATION ${paneld_doc})
install(FILES ${paneld_packaging}/debian/lintian-overrides
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME paneld)

if(PANELD_TOOLS)
  install(TARGETS panelctl DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${paneld_packaging}/panelctl.bash-completion
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME panelctl)

  # Manuals and changelog, compressed without a time stamp: the same sources, the same bytes.
  set(manual ${CMAKE_BINARY_DIR}/manual)
  file(MAKE_DIRECTORY ${manual})
  add_custom_command(OUTPUT ${manual}/paneld.8 ${manual}/paneld.8.gz
    COMMAND awk -f ${paneld_packaging}/man/messages.awk ${CMAKE_SOURCE_DIR}/docs/messages.md
      ${paneld_packaging}/man/paneld.8.in > ${manual}/paneld.8
    COMMAND gzip -9nc ${manual}/paneld.8 > ${manual}/paneld.8.gz
    DEPENDS ${paneld_packaging}/man/messages.awk ${paneld_packaging}/man/paneld.8.in
      ${CMAKE_SOURCE_DIR}/docs/messages.md
    VERBATIM)
  add_custom_command(OUTPUT ${manual}/panelctl.1.gz ${manual}/changelog.gz
    COMMAND gzip -9nc ${paneld_packaging}/man/panelctl.1 > ${manual}/panelctl.1.gz
    COMMAND gzip -9nc ${paneld_packaging}/debian/changelog > ${manual}/changelog.gz
    DEPENDS ${paneld_packaging}/man/panelctl.1 ${paneld_packaging}/debian/changelog
    VERBATIM)
  add_custom_target(manual ALL DEPENDS
    ${manual}/paneld.8.gz ${manual}/panelctl.1.gz ${manual}/changelog.gz)
  install(FILES ${manual}/paneld.8.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
  install(FILES ${manual}/panelctl.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${manual}/changelog.gz DESTINATION ${paneld_doc})
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME paneld)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "paneld maintainers <maintainers@paneld.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
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
