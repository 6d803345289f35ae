# Third-party libraries for Linux: the distribution's packages, and the source that scripts/setup fetched
# of what the distribution has too old.

find_package(pugixml REQUIRED)
find_package(EXPAT REQUIRED)
find_package(spdlog REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_path(KEL_BOOST_INCLUDE_DIR boost/beast.hpp REQUIRED)
find_path(KEL_CLI11_INCLUDE_DIR CLI/App.hpp REQUIRED)
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

set(KEL_HTTPLIB_FOLDER "${KEL_DEPENDENCIES_FOLDER}/cpp-httplib")
