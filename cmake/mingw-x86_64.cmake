# Windows programs for x86-64, made with MinGW and tried out with Wine.
set(KT_MINGW x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
