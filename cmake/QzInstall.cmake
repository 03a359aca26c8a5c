# Installation and packaging: headers, the four shared libraries, the
# executables, a CMake package (find_package(qz_nds CONFIG)), a pkg-config
# file and, on Windows, the zip through CPack.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QZ_NDS_LIBRARIES qz_net_dev_setting qz_net qz_log qz_common)
set(QZ_NDS_EXECUTABLES)
foreach(tool qznds-sim qznds)
  if(TARGET ${tool})
    list(APPEND QZ_NDS_EXECUTABLES ${tool})
  endif()
endforeach()
set(QZ_NDS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qz_nds)
# The headers get a folder of their own (the platform ones have generic names).
set(QZ_NDS_PLATFORM_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/qz_nds)

# ---- Targets ----------------------------------------------------------------

# In the build tree the targets use the source folders; once installed they
# use the include folder. Wrap what the subdirectories set, then add the
# installed location.
function(qz_nds_installed_includes target dir)
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  if(NOT dirs)
    set(dirs)
  endif()
  set(wrapped)
  foreach(d IN LISTS dirs)
    if(d MATCHES "^\\$<")
      list(APPEND wrapped "${d}")
    else()
      list(APPEND wrapped "$<BUILD_INTERFACE:${d}>")
    endif()
  endforeach()
  list(APPEND wrapped "$<INSTALL_INTERFACE:${dir}>")
  set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${wrapped}")
endfunction()

qz_nds_installed_includes(qz_net_dev_setting ${CMAKE_INSTALL_INCLUDEDIR})
foreach(lib qz_net qz_log qz_common)
  qz_nds_installed_includes(${lib} ${QZ_NDS_PLATFORM_INCLUDEDIR})
endforeach()

# Installed programs find the libraries relative to themselves, so the tree
# can live under any prefix; the libraries find each other beside them.
file(RELATIVE_PATH QZ_NDS_BIN_TO_LIB /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  foreach(lib IN LISTS QZ_NDS_LIBRARIES)
    set_target_properties(${lib} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                            INSTALL_RPATH "$ORIGIN")
  endforeach()
  foreach(tool IN LISTS QZ_NDS_EXECUTABLES)
    set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/${QZ_NDS_BIN_TO_LIB}")
  endforeach()
endif()

# Windows: the DLLs go to bin beside the programs, their import libraries to lib.
install(TARGETS ${QZ_NDS_LIBRARIES}
        EXPORT qz_ndsTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(QZ_NDS_EXECUTABLES)
  install(TARGETS ${QZ_NDS_EXECUTABLES} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The public headers live in include/qz_nds/ beside the platform ones; a
# header of the same name at the old place includes it, so that both
# #include "qz_net_dev_setting.h" and <qz_nds/qz_net_dev_setting.h> work.
foreach(header qz_net_dev_setting.h qz_nds_ext.h qz_nds_config.h)
  install(FILES ${PROJECT_SOURCE_DIR}/include/${header} DESTINATION ${QZ_NDS_PLATFORM_INCLUDEDIR})
  file(WRITE ${PROJECT_BINARY_DIR}/compat-include/${header}
       "/* ${header} is installed in qz_nds/; this one keeps the old include path working. */\n"
       "#include \"qz_nds/${header}\"\n")
  install(FILES ${PROJECT_BINARY_DIR}/compat-include/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endforeach()
# The JSON Schema of configuration documents (qznds schema prints the same).
install(FILES ${PROJECT_SOURCE_DIR}/docs/config.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/qznds)
if(WIN32)
  # With the export list, MSVC users make an import library: lib /def:qz_net_dev_setting.def
  install(FILES ${PROJECT_SOURCE_DIR}/src/net_dev_setting/qz_net_dev_setting.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/interfaces/ DESTINATION ${QZ_NDS_PLATFORM_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

# ---- CMake package ----------------------------------------------------------

install(EXPORT qz_ndsTargets NAMESPACE qz_nds:: DESTINATION ${QZ_NDS_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qz_ndsConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/qz_ndsConfig.cmake
                              INSTALL_DESTINATION ${QZ_NDS_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qz_ndsConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION}
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qz_ndsConfig.cmake ${PROJECT_BINARY_DIR}/qz_ndsConfigVersion.cmake
        DESTINATION ${QZ_NDS_CMAKE_DIR})

# ---- pkg-config -------------------------------------------------------------

# Filled in two steps: the version and folders now, the prefix at install
# time, so that it is the prefix actually installed to (cmake --install
# --prefix, or the package's /usr).
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(QZ_NDS_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(QZ_NDS_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
set(QZ_NDS_PC_VERSION ${PROJECT_VERSION})
set(QZ_NDS_PC_PREFIX "@QZ_NDS_PC_PREFIX@")
configure_file(${CMAKE_CURRENT_LIST_DIR}/qz_nds.pc.in ${PROJECT_BINARY_DIR}/qz_nds.pc.in @ONLY)
install(CODE "
  set(QZ_NDS_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/qz_nds.pc.in\" \"${PROJECT_BINARY_DIR}/qz_nds.pc\" @ONLY)
")
install(FILES ${PROJECT_BINARY_DIR}/qz_nds.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# ---- Windows zip ------------------------------------------------------------

# The Debian packages come from debian/ (scripts/package); CPack makes the
# zip an integrator downloads: DLLs and programs in bin, import libraries and
# the .def in lib, the headers in include, the README, changes and license at
# the top. Installed stripped.
if(WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE
          DESTINATION .)
  set(CPACK_PACKAGE_NAME qz-nds)
  set(CPACK_PACKAGE_VENDOR "qz_nds developers")
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
  set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME qz-nds-${PROJECT_VERSION}-win64)
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
endif()
