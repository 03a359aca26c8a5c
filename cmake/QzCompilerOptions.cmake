# Warnings for every target of the project; -Werror when QZ_NDS_WERROR is on (CI).
add_compile_options(-Wall -Wextra)
# GCC 12 reports -Wrestrict inside libstdc++'s string concatenation at -O2
# (a known false positive of that release); it would break -Werror builds.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
if(QZ_NDS_WERROR)
  add_compile_options(-Werror)
endif()
# __FILE__ as a path relative to the source tree, for log lines.
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(MINGW)
  # The DLLs and executables carry the C++ runtime, libgcc and winpthread
  # inside, so they need only system DLLs.
  add_link_options(-static)
  add_compile_definitions(_WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
endif()
