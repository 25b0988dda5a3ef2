# 32-bit Windows programs, for hosts that are 32-bit themselves.
set(KT_MINGW i686-w64-mingw32)
# Doubles are rounded after each operation, as on all other platforms, not kept longer in registers.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
