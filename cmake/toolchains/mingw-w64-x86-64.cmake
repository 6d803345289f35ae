# Windows x86-64 with Debian's g++-mingw-w64-x86-64-posix. What is built runs here under Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Libraries and headers of this target only; programs of the build machine only.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Templates make more sections than the small object format can count. Line numbers are all that a
# backtrace needs.
set(CMAKE_C_FLAGS_DEBUG "-g1" CACHE STRING "C flags of debug builds")
set(CMAKE_CXX_FLAGS_DEBUG "-g1 -Wa,-mbig-obj" CACHE STRING "C++ flags of debug builds")

# A bare Windows has none of the compiler's DLLs. Threads take the program's stack reserve, too; the
# linker's own is a quarter of what threads have on Linux.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--stack,8388608")

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../scripts/wine")
