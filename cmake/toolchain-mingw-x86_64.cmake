# Cross build for 64-bit Windows with the MinGW-w64 compilers packaged by
# Debian (g++-mingw-w64-x86-64-posix):
#   cmake -S . -B build-win64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QUORBIX_MINGW_TRIPLE x86_64-w64-mingw32)
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
