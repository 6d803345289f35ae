# Third-party libraries for Linux: the distribution's packages, and the source that scripts/setup fetched
# of what the distribution has too old.

find_package(pugixml REQUIRED)
find_package(spdlog REQUIRED)
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(kel_asio INTERFACE)
target_include_directories(kel_asio SYSTEM INTERFACE "${ASIO_INCLUDE_DIR}")
find_path(UTF8CPP_INCLUDE_DIR utf8.h PATH_SUFFIXES utf8cpp REQUIRED)
add_library(kel_utf8cpp INTERFACE)
target_include_directories(kel_utf8cpp SYSTEM INTERFACE "${UTF8CPP_INCLUDE_DIR}")
# Debian's CMake package of libzip asks for its command-line tools; pkg-config does not.
find_package(PkgConfig REQUIRED)
pkg_check_modules(libzip REQUIRED IMPORTED_TARGET libzip)
if(KEL_BUILD_TESTS)
    find_package(GTest REQUIRED)
endif()
if(KEL_BUILD_BENCHMARKS)
    find_package(benchmark REQUIRED)
endif()

find_path(PICOJSON_INCLUDE_DIR picojson.h REQUIRED)
add_library(kel_picojson INTERFACE)
target_include_directories(kel_picojson SYSTEM INTERFACE "${PICOJSON_INCLUDE_DIR}")

# cpp-httplib: the system's where it is new enough and header-only, else the source that
# scripts/setup fetched. A compiled one has its limits compiled in and cannot be used.
file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/httplib.version" KEL_HTTPLIB_VERSION LIMIT_COUNT 1)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             "${PROJECT_SOURCE_DIR}/cmake/httplib.version")
find_package(httplib ${KEL_HTTPLIB_VERSION} QUIET)
if(NOT httplib_FOUND OR HTTPLIB_IS_COMPILED)
    set(httplib_header "${KEL_DEPENDENCIES_FOLDER}/cpp-httplib/httplib.h")
    if(NOT EXISTS "${httplib_header}")
        message(FATAL_ERROR
            "cpp-httplib ${KEL_HTTPLIB_VERSION} or newer is missing; run scripts/setup")
    endif()
    file(STRINGS "${httplib_header}" httplib_version_line REGEX "^#define CPPHTTPLIB_VERSION \"")
    string(REGEX MATCH "[0-9.]+" httplib_found "${httplib_version_line}")
    if(httplib_found VERSION_LESS KEL_HTTPLIB_VERSION)
        message(FATAL_ERROR "${httplib_header} has version ${httplib_found}, "
            "${KEL_HTTPLIB_VERSION} or newer is wanted; run scripts/setup")
    endif()
    message(STATUS "Found httplib: ${httplib_header} (found version \"${httplib_found}\")")
    set(KEL_HTTPLIB_FOLDER "${KEL_DEPENDENCIES_FOLDER}/cpp-httplib")
else()
    get_target_property(KEL_HTTPLIB_FOLDER httplib::httplib INTERFACE_INCLUDE_DIRECTORIES)
endif()
