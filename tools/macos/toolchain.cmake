# CMake's view of the cross compiler for macOS. Given by tools/macos/build: MACOS_MACHINE (x86_64 or arm64) and
# MACOS_COMPILER, the folder with the compiler's wrappers for that machine.

set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_MACHINE MACOS_COMPILER)
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR "${MACOS_MACHINE}")
set(CMAKE_CXX_COMPILER "${MACOS_COMPILER}/c++")
set(CMAKE_C_COMPILER "${MACOS_COMPILER}/cc")
set(CMAKE_AR "${MACOS_COMPILER}/ar" CACHE FILEPATH "")
set(CMAKE_RANLIB "${MACOS_COMPILER}/ranlib" CACHE FILEPATH "")
set(CMAKE_INSTALL_NAME_TOOL /bin/true CACHE FILEPATH "")
# The compiler brings the system's headers and libraries, and knows the machine and the oldest system.
set(CMAKE_OSX_SYSROOT "" CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "" FORCE)

# Nothing of this machine's libraries is for macOS.
set(CMAKE_FIND_ROOT_PATH "${MACOS_COMPILER}/none")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What nothing here can run is not optimized, which takes half as long; it is linked with the C++ library of the
# programs that are installed.
set(CMAKE_BUILD_TYPE Debug CACHE STRING "")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -fno-sanitize=undefined -Wno-nullability-completeness" CACHE STRING "")
set(CMAKE_C_FLAGS_DEBUG "-O0 -fno-sanitize=undefined" CACHE STRING "")
set(CMAKE_EXE_LINKER_FLAGS "-O2 -s" CACHE STRING "")
# The compiler writes either what a source depends on or its assembly, which tests/wrap_calls takes.
set(CMAKE_DEPENDS_USE_COMPILER FALSE)
