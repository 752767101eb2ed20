# The functions by which every target of the repository is declared. Lists of files are explicit, and each list names
# the files of both platforms: X.windows.cpp is dropped when building for Linux, X.linux.cpp when building for Windows.
#
#   vel_library(<name> SOURCES <files...> [PUBLIC <libraries...>] [PRIVATE <libraries...>])
#   vel_protobuf_library(<name> PROTOS <files...>)
#   vel_executable(<name> SOURCES <files...> [LINK <libraries...>] [WMAIN])
#   vel_test(<name> SOURCES <files...> [LINK <libraries...>] [LABELS <label>] [SERIAL] [TIMEOUT <seconds>])
#   vel_bench(<name> SOURCES <files...> [LINK <libraries...>])
#   vel_fuzz(<name> SOURCES <files...> CORPUS <folder> [LINK <libraries...>])
#
# Headers are included by bare file name, which is unique in the repository: a library hands on every folder in which it
# has a file.

include_guard()
include(GoogleTest)

# Everything that is run outside of tests: the agent and the programs around it.
add_custom_target(vel-programs)
# The fuzz targets, and the benchmarks: what the builds made for them alone need.
add_custom_target(vel-fuzzers)
add_custom_target(vel-benchmarks)
# Generated headers, without which no source can be read by a tool.
add_custom_target(vel-generated)

if(VEL_SANITIZE)
    add_library(vel_sanitizer_defaults OBJECT "${PROJECT_SOURCE_DIR}/cmake/sanitizer-defaults.cpp")
    target_compile_definitions(vel_sanitizer_defaults PRIVATE "VEL_SYMBOLIZER=\"${VEL_SYMBOLIZER}\"")
    target_link_libraries(vel_sanitizer_defaults PRIVATE vel_warnings)
endif()

# Tests are not optimised in builds with sanitizers, whose checks take long to optimise; what they test is.
function(vel_hasten name)
    if(VEL_SANITIZE)
        target_compile_options(${name} PRIVATE -O0)
    endif()
endfunction()

# The headers of others that most of our files read, read once. A file still includes what it uses: the builds by GCC,
# which gains little from it, go without.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    foreach(kind IN ITEMS product test)
        file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/vel-precompiled-${kind}.cpp" CONTENT "")
        add_library(vel_precompiled_${kind} OBJECT "${PROJECT_BINARY_DIR}/vel-precompiled-${kind}.cpp")
        target_link_libraries(vel_precompiled_${kind} PRIVATE vel_options vel_warnings vel::fmt vel::protobuf)
        target_compile_options(vel_precompiled_${kind} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
        target_precompile_headers(vel_precompiled_${kind} PRIVATE
            <algorithm> <array> <atomic> <chrono> <cstddef> <cstdint> <exception> <filesystem> <functional> <limits> <map>
            <memory> <mutex> <optional> <set> <span> <sstream> <string> <string_view> <thread> <utility> <vector>
            <fmt/format.h> <google/protobuf/message.h>)
    endforeach()
    if(VEL_SANITIZE STREQUAL "address")
        # As those who use it: libraries, and the fuzzers.
        target_compile_options(vel_precompiled_product PRIVATE -fsanitize=fuzzer-no-link)
    endif()
    vel_hasten(vel_precompiled_test)
    target_link_libraries(vel_precompiled_test PRIVATE vel::gtest)
    target_precompile_headers(vel_precompiled_test PRIVATE <fstream> <gtest/gtest.h> <regex>)
    # No tool can read a source without them either.
    add_dependencies(vel-generated vel_precompiled_product vel_precompiled_test)
endif()

function(vel_precompile name kind)
    if(TARGET vel_precompiled_${kind})
        target_precompile_headers(${name} REUSE_FROM vel_precompiled_${kind})
    endif()
endfunction()

function(vel_own_platform_files out)
    set(files ${ARGN})
    list(FILTER files EXCLUDE REGEX "\\.${VEL_OTHER_PLATFORM}\\.")
    set(${out} ${files} PARENT_SCOPE)
endfunction()

function(vel_folders_of out)
    set(folders)
    foreach(file IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
        cmake_path(GET file PARENT_PATH folder)
        list(APPEND folders "${folder}")
    endforeach()
    list(REMOVE_DUPLICATES folders)
    set(${out} ${folders} PARENT_SCOPE)
endfunction()

function(vel_check_arguments function name)
    if(ARG_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "${function}(${name}): what is meant by \"${ARG_UNPARSED_ARGUMENTS}\"?")
    endif()
    if(NOT ARG_SOURCES)
        message(FATAL_ERROR "${function}(${name}): no SOURCES given.")
    endif()
endfunction()

# A static library, or one of headers only when no .cpp is left for this platform.
function(vel_library name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;PUBLIC;PRIVATE")
    vel_check_arguments(vel_library ${name})
    vel_own_platform_files(sources ${ARG_SOURCES})
    vel_folders_of(folders ${ARG_SOURCES})

    set(bodies ${sources})
    list(FILTER bodies INCLUDE REGEX "\\.cpp$")
    if(bodies)
        add_library(${name} STATIC ${sources})
        target_include_directories(${name} PUBLIC ${folders})
        target_link_libraries(${name} PUBLIC vel_options ${ARG_PUBLIC} PRIVATE vel_warnings ${ARG_PRIVATE})
        vel_precompile(${name} product)
        if(VEL_SANITIZE STREQUAL "address")
            # The fuzzers find their way by it. Tests have no use for it, and take longer to build with it.
            target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
        endif()
    else()
        add_library(${name} INTERFACE ${sources})
        target_include_directories(${name} INTERFACE ${folders})
        target_link_libraries(${name} INTERFACE vel_options ${ARG_PUBLIC} ${ARG_PRIVATE})
    endif()
endfunction()

# The generated code of .proto files, compiled once. Files import one another by bare file name, and the generated
# headers (X.pb.h) are included by bare file name too, as system headers: their warnings are not ours.
function(vel_protobuf_library name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "PROTOS")
    set(ARG_SOURCES ${ARG_PROTOS})
    vel_check_arguments(vel_protobuf_library ${name})
    vel_folders_of(folders ${ARG_PROTOS})
    # Inner folders first: a file's name is relative to the first folder that holds it.
    list(SORT folders ORDER DESCENDING)
    set(imports)
    foreach(folder IN LISTS folders)
        list(APPEND imports "--proto_path=${folder}")
    endforeach()

    set(output "${CMAKE_CURRENT_BINARY_DIR}/${name}.generated")
    file(MAKE_DIRECTORY "${output}")
    set(generated)
    set(inputs)
    foreach(proto IN LISTS ARG_PROTOS)
        cmake_path(ABSOLUTE_PATH proto BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
        list(APPEND inputs "${proto}")
        cmake_path(GET proto STEM LAST_ONLY stem)
        list(APPEND generated "${output}/${stem}.pb.cc" "${output}/${stem}.pb.h")
    endforeach()
    add_custom_command(OUTPUT ${generated}
        COMMAND protobuf::protoc ${imports} "--cpp_out=${output}" ${inputs}
        DEPENDS ${inputs}
        COMMENT "Generating the messages of ${name}"
        VERBATIM)

    add_custom_target(${name}-generated DEPENDS ${generated})
    add_dependencies(vel-generated ${name}-generated)
    add_library(${name} STATIC ${generated})
    target_include_directories(${name} SYSTEM PUBLIC "${output}")
    target_compile_options(${name} PRIVATE -w)
    target_link_libraries(${name} PUBLIC vel_options vel::protobuf)
endfunction()

function(vel_executable name)
    vel_add_executable(${ARGV})
    add_dependencies(vel-programs ${name})
endfunction()

function(vel_add_executable name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "WMAIN" "" "SOURCES;LINK")
    vel_check_arguments(vel_executable ${name})
    vel_own_platform_files(sources ${ARG_SOURCES})
    vel_folders_of(folders ${ARG_SOURCES})
    add_executable(${name} ${sources})
    if(VEL_SANITIZE)
        target_sources(${name} PRIVATE $<TARGET_OBJECTS:vel_sanitizer_defaults>)
    endif()
    target_include_directories(${name} PRIVATE ${folders})
    target_link_libraries(${name} PRIVATE vel_options vel_warnings ${ARG_LINK})
    if(WIN32 AND ARG_WMAIN)
        target_compile_options(${name} PRIVATE -municode)
        target_link_options(${name} PRIVATE -municode)
    endif()
endfunction()

# A GoogleTest program; each of its tests is a test of ctest. TIMEOUT is that of one test, in seconds on an ordinary
# Linux build (30 if not given), and is stretched by VEL_TIME_SCALE, which the test's own limits get as a macro too.
# SERIAL: its tests never run beside others, for what measures real time or has the machine to itself.
function(vel_test name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "SERIAL" "TIMEOUT" "SOURCES;LINK;LABELS")
    vel_check_arguments(vel_test ${name})
    vel_own_platform_files(sources ${ARG_SOURCES})
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    if(NOT sources)
        return()
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 30)
    endif()
    if(NOT ARG_LABELS)
        set(ARG_LABELS unit)
    endif()
    math(EXPR timeout "${ARG_TIMEOUT} * ${VEL_TIME_SCALE}")
    vel_add_executable(${name} SOURCES ${ARG_SOURCES} LINK ${ARG_LINK} vel::gtest_main)
    vel_precompile(${name} test)
    vel_hasten(${name})
    target_compile_definitions(${name} PRIVATE VEL_TIME_SCALE=${VEL_TIME_SCALE})

    set(properties LABELS ${ARG_LABELS} TIMEOUT ${timeout} ENVIRONMENT VEL_TEST_LIMIT=${timeout})
    if(ARG_SERIAL)
        list(APPEND properties RUN_SERIAL TRUE)
    endif()
    # PRE_TEST: the tests are listed when ctest runs, so that a cross build needs no Wine.
    gtest_discover_tests(${name}
        TEST_PREFIX "${name}: "
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 120
        PROPERTIES ${properties})
endfunction()

# A Google Benchmark program. Numbers mean something only in a native release build, so it is built in no other; the
# test runs each benchmark just long enough to see that it works.
function(vel_bench name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LINK")
    vel_check_arguments(vel_bench ${name})
    if(WIN32 OR VEL_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
        return()
    endif()
    vel_add_executable(${name} SOURCES ${ARG_SOURCES} LINK ${ARG_LINK} vel::benchmark benchmark::benchmark_main)
    add_dependencies(vel-benchmarks ${name})
    add_test(NAME ${name} COMMAND ${name} --benchmark_min_time=0.01)
    set_tests_properties(${name} PROPERTIES LABELS bench TIMEOUT 300 RUN_SERIAL TRUE)
endfunction()

# A libFuzzer target (LLVMFuzzerTestOneInput). With the address sanitizer it is a fuzzer, and its test goes through the
# corpus and then tries new inputs for a moment; in builds without a sanitizer a small driver takes the fuzzer's place, and
# the test gives each file of the corpus to the target once. The thread sanitizer has nothing to find in it.
function(vel_fuzz name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "CORPUS" "SOURCES;LINK")
    vel_check_arguments(vel_fuzz ${name})
    if(NOT ARG_CORPUS)
        message(FATAL_ERROR "vel_fuzz(${name}): no CORPUS given.")
    endif()
    vel_own_platform_files(sources ${ARG_SOURCES})
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    if(NOT sources OR VEL_SANITIZE STREQUAL "thread")
        return()
    endif()
    cmake_path(ABSOLUTE_PATH ARG_CORPUS BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
    file(GLOB inputs CONFIGURE_DEPENDS "${ARG_CORPUS}/*")
    if(NOT inputs)
        message(FATAL_ERROR "vel_fuzz(${name}): the corpus ${ARG_CORPUS} holds no file.")
    endif()
    math(EXPR timeout "120 * ${VEL_TIME_SCALE}")

    if(VEL_SANITIZE STREQUAL "address")
        vel_add_executable(${name} SOURCES ${ARG_SOURCES} LINK ${ARG_LINK})
        target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        # New inputs of the moment go to a folder of the build, never into the tree.
        file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/${name}.found")
        add_test(NAME ${name} COMMAND ${name}
            -runs=20000 -max_total_time=20 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1
            "-artifact_prefix=${CMAKE_CURRENT_BINARY_DIR}/${name}."
            "${CMAKE_CURRENT_BINARY_DIR}/${name}.found" "${ARG_CORPUS}")
    else()
        vel_add_executable(${name}
            SOURCES ${ARG_SOURCES} "${PROJECT_SOURCE_DIR}/fuzz/driver/fuzz.corpus-driver.cpp"
            LINK ${ARG_LINK})
        add_test(NAME ${name} COMMAND ${name} "${ARG_CORPUS}")
    endif()
    # For what the targets share.
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/driver")
    vel_precompile(${name} product)
    add_dependencies(vel-fuzzers ${name})
    set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT ${timeout})
endfunction()
