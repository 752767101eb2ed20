# Third-party libraries under names of ours, the same on both platforms: natively Debian's shared libraries, for Windows
# static ones from the prefix that tools/setup/windows-dependencies.sh makes. A library that only one platform has is an
# empty target on the other, so that nobody needs to ask for the platform when linking.

function(vel_dependency name)
    add_library(vel_${name} INTERFACE)
    add_library(vel::${name} ALIAS vel_${name})
    target_link_libraries(vel_${name} INTERFACE ${ARGN})
endfunction()

# A library without a CMake package: found by its header and its file.
function(vel_plain_dependency name header library)
    find_path(VEL_${name}_INCLUDE ${header} REQUIRED)
    find_library(VEL_${name}_LIBRARY ${library} REQUIRED)
    mark_as_advanced(VEL_${name}_INCLUDE VEL_${name}_LIBRARY)
    vel_dependency(${name} "${VEL_${name}_LIBRARY}")
    target_include_directories(vel_${name} SYSTEM INTERFACE "${VEL_${name}_INCLUDE}")
endfunction()

find_package(Protobuf 3.21 MODULE REQUIRED)
find_package(fmt 9 CONFIG REQUIRED)
find_package(spdlog 1.10 CONFIG REQUIRED)
find_package(GTest 1.12 CONFIG REQUIRED)
find_package(benchmark 1.7 CONFIG REQUIRED)

vel_dependency(protobuf protobuf::libprotobuf)
vel_dependency(fmt fmt::fmt)
if(VEL_SANITIZE STREQUAL "thread")
    # Compiled into our code: the thread sanitizer does not see the reference counts inside of a library that was built
    # without it, and takes the last owner's delete for a race.
    vel_dependency(spdlog spdlog::spdlog_header_only)
else()
    vel_dependency(spdlog spdlog::spdlog)
endif()
vel_dependency(gtest GTest::gmock GTest::gtest)
vel_dependency(gtest_main GTest::gmock_main GTest::gmock GTest::gtest)
vel_dependency(benchmark benchmark::benchmark)
vel_plain_dependency(sqlite sqlite3.h sqlite3)
vel_plain_dependency(lz4 lz4frame.h lz4)

find_path(VEL_rapidjson_INCLUDE rapidjson/document.h REQUIRED)
mark_as_advanced(VEL_rapidjson_INCLUDE)
vel_dependency(rapidjson)
target_include_directories(vel_rapidjson SYSTEM INTERFACE "${VEL_rapidjson_INCLUDE}")
# std::string overloads (SetString, Writer::String); the same everywhere, or two translation units disagree on a class.
target_compile_definitions(vel_rapidjson INTERFACE RAPIDJSON_HAS_STDSTRING=1)

if(WIN32)
    vel_dependency(windows
        advapi32 bcrypt crypt32 dbghelp iphlpapi ncrypt netapi32 ntdll ole32 oleaut32 psapi rpcrt4 secur32 shell32
        shlwapi user32 userenv uuid version wbemuuid wevtapi winhttp wintrust wlanapi ws2_32 wtsapi32)
    vel_dependency(systemd)
    vel_dependency(openssl)
    vel_dependency(tls)
    vel_dependency(cares)
    vel_dependency(mnl)
else()
    find_package(OpenSSL 3 REQUIRED)
    vel_dependency(windows)
    vel_dependency(openssl OpenSSL::Crypto)
    vel_dependency(tls OpenSSL::SSL)
    vel_plain_dependency(systemd systemd/sd-journal.h systemd)
    vel_plain_dependency(cares ares.h cares)
    vel_plain_dependency(mnl libmnl/libmnl.h mnl)
endif()
