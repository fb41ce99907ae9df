# fmt as headers alone.
find_path(fmt_INCLUDE fmt/format-inl.h)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(fmt DEFAULT_MSG fmt_INCLUDE)
if(fmt_FOUND AND NOT TARGET fmt::fmt)
  add_library(fmt::fmt INTERFACE IMPORTED GLOBAL)
  target_include_directories(fmt::fmt SYSTEM INTERFACE ${fmt_INCLUDE})
  target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
endif()
