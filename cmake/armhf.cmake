# Cross build for the gateway's processor: 32-bit ARM, hard float, Debian 12's cross compiler.
# libxml2 for the target comes from .sysroot/armhf, which scripts/armhf-sysroot makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(triplet arm-linux-gnueabihf)
get_filename_component(project_root "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
set(sysroot "${project_root}/.sysroot/armhf")

find_program(cross_compiler ${triplet}-g++)
mark_as_advanced(cross_compiler)
if(NOT cross_compiler OR NOT EXISTS "${sysroot}/.contents")
  message(FATAL_ERROR
    "The cross compiler or the target's libraries (${sysroot}) are missing. "
    "Run scripts/armhf-sysroot once, then configure again.")
endif()

set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

# The C and C++ libraries are those of the cross compiler, all others those of the sysroot.
# Nothing of the machine that builds is ever looked at, programs excepted.
set(CMAKE_FIND_ROOT_PATH "${sysroot}" "/usr/${triplet}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${sysroot}/usr/lib/${triplet}/pkgconfig:${sysroot}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${sysroot}")

# libxml2 needs ICU, zlib and lzma in turn; the linker must find them to check its symbols.
string(CONCAT CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,-rpath-link,${sysroot}/usr/lib/${triplet} -Wl,-rpath-link,${sysroot}/lib/${triplet}")

# The program carries no path of the machine that built it; the emulator is told where to look.
set(CMAKE_SKIP_BUILD_RPATH ON)
set(CMAKE_CROSSCOMPILING_EMULATOR "${project_root}/scripts/armhf-run")

# For the package: whose it is, and where dpkg-shlibdeps finds the target's libraries.
set(PANELD_ARCHITECTURE armhf)
set(PANELD_LIBRARY_FOLDERS "")
foreach(root "${sysroot}/runtime" "${sysroot}")
  list(APPEND PANELD_LIBRARY_FOLDERS "${root}/lib/${triplet}" "${root}/usr/lib/${triplet}")
endforeach()
