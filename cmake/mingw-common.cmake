# What both mingw-w64 toolchains share. The posix thread model gives the
# tests std::thread; its runtime is linked in statically (see the root
# CMakeLists.txt), so nothing but system DLLs is needed at run time.
set(CMAKE_C_COMPILER ${ZEM_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZEM_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZEM_MINGW_TRIPLE}-windres)
set(CMAKE_OBJDUMP ${ZEM_MINGW_TRIPLE}-objdump)

set(CMAKE_FIND_ROOT_PATH /usr/${ZEM_MINGW_TRIPLE})
# Build tools (python, flex, bison, wine) come from the build machine,
# libraries and headers from the target's root.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
