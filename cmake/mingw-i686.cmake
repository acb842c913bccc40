# Cross build for 32-bit Windows with mingw-w64. The programs are built but
# not run here: this machine has no 32-bit wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(ZEM_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
