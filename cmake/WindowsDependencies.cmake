# Third-party libraries for Windows, built with the project from the sources that scripts/setup put
# below KEL_DEPENDENCIES_FOLDER/windows. The targets are named as on Linux.

enable_language(C)

set(windows_sources "${KEL_DEPENDENCIES_FOLDER}/windows")
option(KEL_FETCH_SOURCES "Fetch the sources of the libraries while configuring" ${MSVC})
if(KEL_FETCH_SOURCES)
    include(windows/FetchedSources)
    kel_fetch_sources()
    # Debian's archive keeps each library's headers in a folder of its own.
    file(GLOB KEL_BOOST_INCLUDE_DIR
        "${windows_sources}/boost/libs/*/include" "${windows_sources}/boost/libs/numeric/*/include")
    set(KEL_CLI11_INCLUDE_DIR "${windows_sources}/cli11/include")
    set(KEL_UTF8CPP_INCLUDE_DIR "${windows_sources}/utfcpp/source")
    # The edited copy is for the threads of mingw-w64.
    set(KEL_HTTPLIB_FOLDER "${KEL_DEPENDENCIES_FOLDER}/cpp-httplib")
else()
    set(KEL_BOOST_INCLUDE_DIR "${windows_sources}/include")
    set(KEL_CLI11_INCLUDE_DIR "${windows_sources}/include")
    set(KEL_UTF8CPP_INCLUDE_DIR "${windows_sources}/include/utf8cpp")
    set(KEL_HTTPLIB_FOLDER "${windows_sources}/cpp-httplib")
endif()
if(NOT EXISTS "${KEL_HTTPLIB_FOLDER}/httplib.h")
    message(FATAL_ERROR "The libraries for Windows are missing; run scripts/setup --all")
endif()

if(MINGW)
    # What scripts/edit-libstdcxx-for-windows says.
    include_directories(BEFORE SYSTEM "${windows_sources}/libstdc++")
endif()

# add_foreign_library(name ALIAS target SOURCES pattern... INCLUDE folder...): without our warnings.
function(add_foreign_library name)
    cmake_parse_arguments(ARG "" "ALIAS" "SOURCES;INCLUDE" ${ARGN})
    file(GLOB sources ${ARG_SOURCES})
    if(NOT sources)
        message(FATAL_ERROR "${name}: no source matches ${ARG_SOURCES}")
    endif()
    add_library(${name} STATIC ${sources})
    add_library(${ARG_ALIAS} ALIAS ${name})
    target_include_directories(${name} SYSTEM PUBLIC ${ARG_INCLUDE})
    target_compile_options(${name} PRIVATE $<IF:$<BOOL:${MSVC}>,/w,-w>)
    target_compile_definitions(${name} PRIVATE _WIN32_WINNT=0x0A00)
endfunction()

add_foreign_library(kel_pugixml ALIAS pugixml::pugixml
    SOURCES "${windows_sources}/pugixml/src/pugixml.cpp"
    INCLUDE "${windows_sources}/pugixml/src")

# What its own build would write into expat_config.h; xmltok_impl.c and xmltok_ns.c are included by
# xmltok.c.
file(WRITE "${CMAKE_BINARY_DIR}/expat/expat_config.h" "#define XML_NS 1\n#define XML_DTD 1\n"
    "#define XML_CONTEXT_BYTES 1024\n#define BYTEORDER 1234\n#define HAVE_MEMMOVE 1\n")
add_foreign_library(kel_expat ALIAS EXPAT::EXPAT
    SOURCES
        "${windows_sources}/expat/expat/lib/xmlparse.c" "${windows_sources}/expat/expat/lib/xmlrole.c"
        "${windows_sources}/expat/expat/lib/xmltok.c"
    INCLUDE "${windows_sources}/expat/expat/lib")
target_include_directories(kel_expat PRIVATE "${CMAKE_BINARY_DIR}/expat")
target_compile_definitions(kel_expat PUBLIC XML_STATIC)

add_foreign_library(kel_fmt ALIAS fmt::fmt
    SOURCES "${windows_sources}/fmtlib/src/format.cc" "${windows_sources}/fmtlib/src/os.cc"
    INCLUDE "${windows_sources}/fmtlib/include")

add_foreign_library(kel_spdlog ALIAS spdlog::spdlog
    SOURCES "${windows_sources}/spdlog/src/*.cpp"
    INCLUDE "${windows_sources}/spdlog/include")
# Paths are wide: the narrow ones of this system cannot name every file. A trace file's lines end alike
# on all systems.
target_compile_definitions(kel_spdlog PUBLIC
    SPDLOG_COMPILED_LIB SPDLOG_FMT_EXTERNAL SPDLOG_WCHAR_FILENAMES SPDLOG_EOL="\\n")
target_link_libraries(kel_spdlog PUBLIC kel_fmt)
set_target_properties(kel_spdlog PROPERTIES UNITY_BUILD ON)

add_foreign_library(kel_zlib ALIAS ZLIB::ZLIB
    SOURCES "${windows_sources}/zlib/*.c"
    INCLUDE "${windows_sources}/zlib")
include(windows/Libzip)

add_library(kel_utf8cpp INTERFACE)
target_include_directories(kel_utf8cpp SYSTEM INTERFACE "${KEL_UTF8CPP_INCLUDE_DIR}")
add_library(kel_picojson INTERFACE)
target_include_directories(kel_picojson SYSTEM INTERFACE "${windows_sources}/picojson")

if(KEL_BUILD_TESTS)
    add_foreign_library(kel_gmock_main ALIAS GTest::gmock_main
        SOURCES
            "${windows_sources}/googletest/googletest/src/gtest-all.cc"
            "${windows_sources}/googletest/googlemock/src/gmock-all.cc"
            "${windows_sources}/googletest/googlemock/src/gmock_main.cc"
        INCLUDE
            "${windows_sources}/googletest/googletest/include"
            "${windows_sources}/googletest/googlemock/include")
    target_include_directories(kel_gmock_main PRIVATE
        "${windows_sources}/googletest/googletest" "${windows_sources}/googletest/googlemock")
endif()
if(KEL_BUILD_BENCHMARKS)
    add_foreign_library(kel_benchmark_main ALIAS benchmark::benchmark_main
        SOURCES "${windows_sources}/benchmark/src/*.cc"
        INCLUDE "${windows_sources}/benchmark/include")
    target_compile_definitions(kel_benchmark_main
        PUBLIC BENCHMARK_STATIC_DEFINE PRIVATE HAVE_STD_REGEX HAVE_STEADY_CLOCK)
    target_link_libraries(kel_benchmark_main PUBLIC shlwapi)
endif()
