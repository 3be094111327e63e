# For gateways without a shared libxml2: the program carries it, and what it needs in turn, with
# the C++ runtime. The C library stays shared.
set(static_parts "")
foreach(name xml2 icuuc lzma z)
  find_library(static_${name} NAMES lib${name}.a REQUIRED)
  mark_as_advanced(static_${name})
  list(APPEND static_parts ${static_${name}})
endforeach()
list(POP_FRONT static_parts static_xml)

add_library(no_icu_data STATIC cmake/no_icu_data.cpp)
target_compile_features(no_icu_data PRIVATE cxx_std_20)
list(INSERT static_parts 1 no_icu_data) # behind the library that asks for it

set_target_properties(LibXml2::LibXml2 PROPERTIES
  IMPORTED_LOCATION ${static_xml}
  INTERFACE_LINK_LIBRARIES "${static_parts};m;${CMAKE_DL_LIBS}")
add_link_options(-static-libstdc++ -static-libgcc -Wl,--gc-sections)
