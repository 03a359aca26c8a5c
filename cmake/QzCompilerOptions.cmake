# Warnings for every target of the project; -Werror when QZ_NDS_WERROR is on (CI).
add_compile_options(-Wall -Wextra)
if(QZ_NDS_WERROR)
  add_compile_options(-Werror)
endif()
# __FILE__ as a path relative to the source tree, for log lines.
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
