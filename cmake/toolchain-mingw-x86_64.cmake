# Cross build for 64-bit Windows with the MinGW-w64 compilers packaged by
# Debian (g++-mingw-w64-x86-64-posix):
#   cmake -S . -B build-win64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-x86_64.cmake
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QUORBIX_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-common.cmake)
