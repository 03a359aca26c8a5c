# Header-only dependencies from Debian: asio (standalone), nlohmann-json and
# CLI11, as INTERFACE targets qz_asio, qz_json and qz_cli11.
#
# A cross build (MinGW-w64) takes them from the host's /usr/include, which
# must not come on the include path as a whole: the host's C library headers
# would shadow the target's. So they are linked into a folder of their own.
find_path(QZ_ASIO_INCLUDE_DIR asio.hpp REQUIRED)
find_path(QZ_JSON_INCLUDE_DIR nlohmann/json.hpp REQUIRED)
find_path(QZ_CLI11_INCLUDE_DIR CLI/CLI.hpp REQUIRED)

function(qz_header_only_target target include_dir)
  add_library(${target} INTERFACE)
  if(CMAKE_CROSSCOMPILING)
    set(staged ${CMAKE_BINARY_DIR}/host-headers/${target})
    file(MAKE_DIRECTORY ${staged})
    foreach(entry ${ARGN})
      if(NOT EXISTS ${staged}/${entry})
        file(CREATE_LINK ${include_dir}/${entry} ${staged}/${entry} COPY_ON_ERROR SYMBOLIC)
      endif()
    endforeach()
    target_include_directories(${target} SYSTEM INTERFACE ${staged})
  elseif(NOT include_dir IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    target_include_directories(${target} SYSTEM INTERFACE ${include_dir})
  endif()
endfunction()

qz_header_only_target(qz_asio ${QZ_ASIO_INCLUDE_DIR} asio.hpp asio)
target_compile_definitions(qz_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
if(WIN32)
  target_link_libraries(qz_asio INTERFACE ws2_32 mswsock)
endif()
qz_header_only_target(qz_json ${QZ_JSON_INCLUDE_DIR} nlohmann)
qz_header_only_target(qz_cli11 ${QZ_CLI11_INCLUDE_DIR} CLI)
