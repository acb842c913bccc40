# Cross build for 64-bit Windows with mingw-w64. Programs run under wine,
# when it is installed, so that ctest runs the tests as on any other target.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(ZEM_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)

find_program(ZEM_WINE NAMES wine64 wine)
if(ZEM_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZEM_WINE})
endif()
