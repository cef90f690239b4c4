# What both MinGW-w64 toolchain files share; each sets
# QUORBIX_MINGW_TRIPLE and CMAKE_SYSTEM_PROCESSOR before including this.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${QUORBIX_MINGW_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${QUORBIX_MINGW_TRIPLE}-g++)
set(CMAKE_RC_COMPILER ${QUORBIX_MINGW_TRIPLE}-windres)

# Look for libraries and headers in the cross sysroot only; programs come
# from the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${QUORBIX_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
