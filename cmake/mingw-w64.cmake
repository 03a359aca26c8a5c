# Cross-build for Windows x86-64 with Debian's MinGW-w64 (posix threads).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QZ_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QZ_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QZ_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${QZ_MINGW_PREFIX}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${QZ_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# Header-only dependencies (asio, nlohmann-json, CLI11) come from the host.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# Header-only packages (nlohmann-json, CLI11) are found on the host too.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
