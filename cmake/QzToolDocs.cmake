# Man pages and bash completion of the command-line tools, generated from the
# built programs: the man pages with help2man from --help and --version (only
# when help2man is installed), the completion script from the program itself.
# Cross builds skip both: their programs do not run on the build machine.
#
# Run as a script (cmake -DPROGRAM=... "-DARGS=..." -DOUTPUT=... -P this file)
# it writes what PROGRAM ARGS prints to OUTPUT, failing when the program does.
if(CMAKE_SCRIPT_MODE_FILE)
  separate_arguments(args UNIX_COMMAND "${ARGS}")
  execute_process(COMMAND "${PROGRAM}" ${args} OUTPUT_FILE "${OUTPUT}" RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    file(REMOVE "${OUTPUT}")
    message(FATAL_ERROR "${PROGRAM} ${ARGS} failed: ${result}")
  endif()
  return()
endif()

# The install folders are variables of the including directory.
include(GNUInstallDirs)
include_guard(GLOBAL)
find_program(QZ_HELP2MAN help2man DOC "help2man, for the tools' man pages")
if(NOT QZ_HELP2MAN AND NOT CMAKE_CROSSCOMPILING)
  message(STATUS "help2man not found: the tools' man pages are not built")
endif()

# The installed files are OPTIONAL: a build of single targets leaves them out
# and its install still works; a full build makes them.

# TARGET.1 from the program's --help and --version, installed into man1.
function(qz_tool_man_page target summary)
  if(CMAKE_CROSSCOMPILING OR NOT QZ_HELP2MAN)
    return()
  endif()
  set(page ${CMAKE_CURRENT_BINARY_DIR}/${target}.1)
  add_custom_command(
    OUTPUT ${page}
    COMMAND ${QZ_HELP2MAN} --no-info --section=1 "--name=${summary}" --output=${page} $<TARGET_FILE:${target}>
    DEPENDS ${target}
    COMMENT "Writing the man page of ${target}"
    VERBATIM)
  add_custom_target(${target}-man ALL DEPENDS ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL)
endfunction()

# The program's bash completion (what `TARGET ARGS` prints), installed where
# bash-completion loads it on demand.
function(qz_tool_bash_completion target args)
  if(CMAKE_CROSSCOMPILING)
    return()
  endif()
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.bash-completion)
  set(runner ${CMAKE_CURRENT_FUNCTION_LIST_FILE})
  add_custom_command(
    OUTPUT ${script}
    COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${target}> "-DARGS=${args}" -DOUTPUT=${script} -P
            ${runner}
    DEPENDS ${target} ${runner}
    COMMENT "Writing the bash completion of ${target}"
    VERBATIM)
  add_custom_target(${target}-completion ALL DEPENDS ${script})
  install(
    FILES ${script}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME ${target}
    OPTIONAL)
endfunction()
