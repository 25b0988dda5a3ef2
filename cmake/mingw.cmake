# What the toolchains of both word sizes share; KT_MINGW is the prefix of the tools' names.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${KT_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KT_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${KT_MINGW}-windres)

# The compiler's own libraries go into each program: Windows has none of them.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

# Tools come from this machine, everything else from the target's folders.
set(CMAKE_FIND_ROOT_PATH /usr/${KT_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(KT_WINE NAMES wine wine64)
if(KT_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KT_WINE})
endif()
