# Cross build for 32-bit Windows with the MinGW-w64 compilers packaged by
# Debian (g++-mingw-w64-i686-posix):
#   cmake -S . -B build-win32 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw-i686.cmake
# Every export is __stdcall here (QUORBIX_CALL); the root CMakeLists.txt links
# the DLL with --kill-at so that its export names carry no @N decoration.
set(CMAKE_SYSTEM_PROCESSOR x86)
set(QUORBIX_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-common.cmake)
