# Cross toolchain: 32-bit Windows with GCC MinGW-w64 and its Win32 thread model.
# The posix model's runtime imports functions that Windows XP does not have.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-win32)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-win32)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)

# scripts/setup links each cross-built library here.
file(GLOB _corvane_deps "${CMAKE_CURRENT_LIST_DIR}/../build/deps/*")
set(CMAKE_FIND_ROOT_PATH ${_corvane_deps} /usr/i686-w64-mingw32)
unset(_corvane_deps)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# Programs that run during the build or the tests start under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/wine")
