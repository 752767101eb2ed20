# How everything of ours is compiled. Third-party code never sees these: they hang on the interface target
# `vel_options`, which the functions of VelTargets.cmake link to each of our targets.

set(VEL_SANITIZE "" CACHE STRING "address (with undefined, and with libFuzzer), thread, or empty")
set_property(CACHE VEL_SANITIZE PROPERTY STRINGS "" address thread)

if(WIN32)
    set(VEL_PLATFORM windows)
    set(VEL_OTHER_PLATFORM linux)
else()
    set(VEL_PLATFORM linux)
    set(VEL_OTHER_PLATFORM windows)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A second build of the same text costs a look-up. Said nowhere else, so that a plain `cmake` has it too. What is slack
# about precompiled headers is what their makers ask for: the text of what is precompiled counts.
find_program(VEL_CCACHE ccache)
mark_as_advanced(VEL_CCACHE)
if(VEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros "${VEL_CCACHE}")
endif()

find_package(Threads REQUIRED)

add_library(vel_options INTERFACE)
target_link_libraries(vel_options INTERFACE Threads::Threads)
# Exceptions and log lines carry the file they come from: as the repository knows it, not as one builder's disk does.
target_compile_options(vel_options INTERFACE "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")

# Warnings are errors. Sign conversion stays out: sizes and counts cross between signed and unsigned at every border of
# a system call, and a cast at each of them hides the few that matter.
add_library(vel_warnings INTERFACE)
target_compile_options(vel_warnings INTERFACE
    -Werror -Wall -Wextra -Wpedantic
    -Wshadow -Wconversion -Wno-sign-conversion
    -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wundef
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wextra-semi>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wextra-semi>)

if(WIN32)
    # The same four on every one of our files, so that a Windows header means the same wherever it is met.
    target_compile_definitions(vel_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
    # MinGW's import casts (FARPROC to a typed pointer) are the one way to call what its libraries do not list.
    target_compile_options(vel_warnings INTERFACE -Wno-cast-function-type)
endif()

# Time limits of tests are given for an ordinary Linux build and stretched by this where everything is slower.
set(VEL_TIME_SCALE 1)
if(WIN32)
    set(VEL_TIME_SCALE 3) # Wine: a server round trip for most calls
endif()

if(VEL_SANITIZE STREQUAL "address")
    set(vel_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all)
    set(VEL_TIME_SCALE 3)
elseif(VEL_SANITIZE STREQUAL "thread")
    set(vel_sanitizers -fsanitize=thread)
    set(VEL_TIME_SCALE 6)
elseif(VEL_SANITIZE)
    message(FATAL_ERROR "VEL_SANITIZE is \"${VEL_SANITIZE}\": use address, thread or nothing.")
endif()

if(VEL_SANITIZE)
    # The symbolizer beside the compiler, without which reports are bare addresses.
    file(REAL_PATH "${CMAKE_CXX_COMPILER}" vel_compiler)
    cmake_path(GET vel_compiler PARENT_PATH vel_compiler_folder)
    find_program(VEL_SYMBOLIZER llvm-symbolizer HINTS "${vel_compiler_folder}" REQUIRED)
    mark_as_advanced(VEL_SYMBOLIZER)
    # What third-party headers do is not reported: it cannot be changed here.
    set(vel_ignored "${CMAKE_CURRENT_LIST_DIR}/sanitizer-ignored.txt")
    if(NOT VEL_SANITIZE STREQUAL "thread")
        list(APPEND vel_sanitizers "-fsanitize-ignorelist=${vel_ignored}")
    endif()
endif()

if(NOT VEL_SANITIZE)
    # What nobody calls is dropped from an executable: it is smaller, and a check can tell what it is able to do.
    target_compile_options(vel_options INTERFACE -ffunction-sections -fdata-sections)
    target_link_options(vel_options INTERFACE -Wl,--gc-sections)
else()
    target_compile_options(vel_options INTERFACE ${vel_sanitizers} -fno-omit-frame-pointer)
    target_link_options(vel_options INTERFACE ${vel_sanitizers})
endif()

# Clang comes with a linker that is several times faster; the native GCC build takes what the system has.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_link_options(vel_options INTERFACE -fuse-ld=lld)
endif()

# Windows programs run in a way that lets nothing of Wine's hold their output.
if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(PREPEND CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_SOURCE_DIR}/tools/setup/wine-run.sh")
endif()
