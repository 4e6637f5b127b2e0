# CMake takes this system for a Mac: the compiler is that of the folder QUENBROOK_DARWIN_TOOLS, and
# what Homebrew would have installed lies below CMAKE_PREFIX_PATH. What CMake only tries is not linked.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUENBROOK_DARWIN_TOOLS)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_CXX_COMPILER ${QUENBROOK_DARWIN_TOOLS}/c++)
set(CMAKE_AR ${QUENBROOK_DARWIN_TOOLS}/ar)
set(CMAKE_RANLIB /bin/true)
