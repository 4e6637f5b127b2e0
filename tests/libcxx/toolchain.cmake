# The compiler that goes with the libc++ that is installed: Debian has one at a time.
file(REAL_PATH /usr/include/c++/v1 headers)
set(CMAKE_CXX_COMPILER ${headers}/../../../bin/clang++)
cmake_path(NORMAL_PATH CMAKE_CXX_COMPILER)
