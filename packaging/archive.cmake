# Read by cpack when the Debian package is made: the same files as a .tar.gz, for images without
# dpkg. Its members are files alone, so that unpacking changes no folder of the image and no link
# to one; the unit goes where systemd looks whether /lib is such a link or not.
file(GLOB_RECURSE files RELATIVE ${CPACK_TEMPORARY_DIRECTORY}
  ${CPACK_TEMPORARY_DIRECTORY}/etc/* ${CPACK_TEMPORARY_DIRECTORY}/lib/*
  ${CPACK_TEMPORARY_DIRECTORY}/usr/*)
list(FILTER files EXCLUDE REGEX "share/lintian/|changelog[.]gz$")
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  get_filename_component(name ${package} NAME_WLE)
  execute_process(
    COMMAND tar --create --file=${CPACK_PACKAGE_DIRECTORY}/${name}.tar.gz
      "--use-compress-program=gzip -9n" --owner=0 --group=0 --numeric-owner
      --mtime=${CPACK_PANELD_RELEASE_DAY}Z --transform=s,^lib/,usr/lib/, ${files}
    WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
