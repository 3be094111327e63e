# Read by cpack before it begins: a package without its tool and manuals is none.
if(NOT CPACK_PANELD_TOOLS)
  message(FATAL_ERROR "The package contains panelctl and the manuals, which this build folder "
    "leaves out. Install libpng-dev and libcli11-dev, configure with -DPANELD_TOOLS=ON, build, "
    "and run cpack again.")
endif()
