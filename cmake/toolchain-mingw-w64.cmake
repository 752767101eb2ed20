# Debian 12 -> Windows 10 x64 with MinGW-w64 (posix threads), linked statically: one executable, no DLLs to carry.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(CMAKE_SYSTEM_VERSION 10.0)

set(vel_triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${vel_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${vel_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${vel_triple}-windres)
set(CMAKE_AR /usr/bin/${vel_triple}-gcc-ar-posix CACHE FILEPATH "")
set(CMAKE_RANLIB /usr/bin/${vel_triple}-gcc-ranlib-posix CACHE FILEPATH "")

# The prefix with our libraries built for Windows. It is named by a hash of what made it, so the script that makes it is
# the one that knows the name. Passed on to the small projects by which CMake tries the compiler.
if(NOT VEL_WINDOWS_PREFIX AND DEFINED ENV{VEL_WINDOWS_PREFIX})
    set(VEL_WINDOWS_PREFIX "$ENV{VEL_WINDOWS_PREFIX}" CACHE PATH "Libraries built for Windows")
endif()
if(NOT VEL_WINDOWS_PREFIX)
    execute_process(
        COMMAND "${CMAKE_CURRENT_LIST_DIR}/../tools/setup/windows-dependencies.sh" --print-prefix
        OUTPUT_VARIABLE vel_prefix OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_DIRECTORY "${vel_prefix}")
        message(FATAL_ERROR "The libraries for Windows are not there yet. Run tools/setup/windows-dependencies.sh")
    endif()
    set(VEL_WINDOWS_PREFIX "${vel_prefix}" CACHE PATH "Libraries built for Windows")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEL_WINDOWS_PREFIX)

set(CMAKE_FIND_ROOT_PATH "${VEL_WINDOWS_PREFIX}" /usr/${vel_triple})
set(CMAKE_PREFIX_PATH "${VEL_WINDOWS_PREFIX}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER) # protoc and its like run here
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The API level of Windows 10 1809, for our code and the libraries' alike: it changes the layout of system types.
set(vel_api_level "-D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00 -DNTDDI_VERSION=0x0A000006")
set(CMAKE_C_FLAGS_INIT "${vel_api_level}")
set(CMAKE_CXX_FLAGS_INIT "${vel_api_level}")
set(CMAKE_CXX_FLAGS_RELEASE_INIT "-O2")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_EXE_LINKER_FLAGS_RELEASE_INIT "-s")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# ctest runs the executables through it.
find_program(VEL_WINE NAMES wine64 wine PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(VEL_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VEL_WINE})
endif()
