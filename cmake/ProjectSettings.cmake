# Language level, warnings and output folders: the same for every target of the project.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

find_package(Threads REQUIRED)

# Every target of the project links it: include path from the root, warnings as errors, sanitizers.
add_library(kel_compile_flags INTERFACE)
target_include_directories(kel_compile_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_link_libraries(kel_compile_flags INTERFACE Threads::Threads)
if(MSVC)
    # A constructor's parameter may have its member's name. The other compiler's linker gets its stack
    # reserve from the toolchain file.
    target_compile_options(kel_compile_flags INTERFACE /W4 /WX /wd4458 /bigobj /utf-8 /permissive-)
    target_compile_definitions(kel_compile_flags INTERFACE _CRT_SECURE_NO_WARNINGS)
    target_link_options(kel_compile_flags INTERFACE /STACK:8388608)
else()
    target_compile_options(kel_compile_flags INTERFACE
        -Wall -Wextra -Wpedantic $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> -Wconversion
        -Wnon-virtual-dtor -Woverloaded-virtual
        -Wimplicit-fallthrough -Werror)
    # GCC 12's optimiser reports code of its own standard library (vector insertion, string
    # concatenation) under these six; the debug and the Clang builds keep them.
    target_compile_options(kel_compile_flags INTERFACE
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-array-bounds>
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-restrict>
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-stringop-overflow>
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-attribute-warning>
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-stringop-overread>
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-maybe-uninitialized>)
endif()

# What people run makes an attacker's work harder; scripts/check-hardening reads it from the programs.
# Sanitizers bring checks of their own that these would hide; without optimisation there are no checked
# functions.
set(kel_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
if(NOT MSVC AND NOT KEL_SANITIZERS)
    if(MINGW)
        target_link_options(kel_compile_flags INTERFACE
            $<${kel_optimised}:LINKER:--dynamicbase,--high-entropy-va,--nxcompat>)
    else()
        target_compile_options(kel_compile_flags INTERFACE
            $<${kel_optimised}:-fPIE>
            $<${kel_optimised}:-U_FORTIFY_SOURCE>
            $<${kel_optimised}:-D_FORTIFY_SOURCE=3>
            $<${kel_optimised}:-fstack-protector-strong>
            $<${kel_optimised}:-fstack-clash-protection>)
        target_link_options(kel_compile_flags INTERFACE
            $<${kel_optimised}:-pie>
            $<${kel_optimised}:LINKER:-z,relro,-z,now>)
    endif()
endif()
if(WIN32)
    target_compile_definitions(kel_compile_flags INTERFACE
        UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()
if(KEL_SANITIZERS)
    # With its sanitizers on, GCC takes members of the standard library's <regex> for uninitialized
    # in debug builds, too.
    target_compile_options(kel_compile_flags INTERFACE
        -fsanitize=${KEL_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(kel_compile_flags INTERFACE -fsanitize=${KEL_SANITIZERS})
endif()

if(KEL_SANITIZERS AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Names the code that is not ours and that the integer sanitizer is to leave alone. The build cache
    # does not look into it, so that its contents stand in the command, too.
    set(ignorelist "${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignorelist.txt")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${ignorelist}")
    file(SHA1 "${ignorelist}" ignorelist_contents)
    target_compile_options(kel_compile_flags INTERFACE -fsanitize-ignorelist=${ignorelist})
    target_compile_definitions(kel_compile_flags INTERFACE KEL_IGNORELIST=${ignorelist_contents})
endif()

# Several sources compiled as one: half the time of a cold build. A source that lacks an include is
# found by the builds without it.
option(KEL_UNITY_BUILD "Compile several sources of a target at once" OFF)
if(KEL_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # What a test's own source keeps to itself seems to come from another one.
    target_compile_options(kel_compile_flags INTERFACE -Wno-subobject-linkage)
endif()

function(kel_use_unity_build name)
    set_target_properties(${name} PROPERTIES
        UNITY_BUILD ${KEL_UNITY_BUILD} UNITY_BUILD_BATCH_SIZE 14)
endfunction()

# kel_use_tidy(name configuration): checks the target's sources with clang-tidy while they are compiled, again
# when its configuration has changed.
function(kel_use_tidy name configuration)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${configuration}")
    file(SHA1 "${configuration}" contents)
    target_compile_definitions(${name} PRIVATE KEL_TIDY_CONFIGURATION=${contents})
    set_target_properties(${name} PROPERTIES
        CXX_CLANG_TIDY "clang-tidy;--quiet;--config-file=${configuration}"
        UNITY_BUILD_CODE_BEFORE_INCLUDE
        "// NOLINTNEXTLINE(bugprone-suspicious-include): that is what a unity build is for")
endfunction()

if(WIN32)
    set(KEL_PLATFORM_FOLDER windows)
else()
    set(KEL_PLATFORM_FOLDER linux)
endif()

# kel_add_library(name SOURCES file... LIBRARIES target...)
# Where CMAKE_VERIFY_INTERFACE_HEADER_SETS asks for it, the target all_verify_interface_header_sets compiles
# each header beside these sources by itself.
function(kel_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC kel_compile_flags ${ARG_LIBRARIES})
    kel_use_unity_build(${name})
    list(TRANSFORM ARG_SOURCES PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    set_property(GLOBAL APPEND PROPERTY KEL_PRODUCT_SOURCES ${ARG_SOURCES})
    set_property(GLOBAL APPEND PROPERTY KEL_PRODUCT_LIBRARIES ${name})
    if(CMAKE_VERIFY_INTERFACE_HEADER_SETS)
        kel_verify_headers(${name} ${ARG_SOURCES})
    endif()
endfunction()

# kel_verify_headers(name source...): the headers in the folders of these sources.
function(kel_verify_headers name)
    set(headers "")
    foreach(source IN LISTS ARGN)
        cmake_path(GET source PARENT_PATH folder)
        file(GLOB found CONFIGURE_DEPENDS "${folder}/*.hpp")
        list(APPEND headers ${found})
    endforeach()
    list(REMOVE_DUPLICATES headers)
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${headers})
endfunction()

# kel_add_test(name [NO_THREADS] [AT_ONCE count] SOURCES file... LIBRARIES target...
#              [PROPERTIES name value...])
# One test program, its cases in CTest with these properties. Under an emulator or a sanitizer, where a
# start takes longer than most cases, the program as a whole is one test, which tells first what failed; of
# one that mostly waits so many cases run at once. One without threads tells the thread sanitizer nothing
# and is left out there.
function(kel_add_test name)
    cmake_parse_arguments(ARG "NO_THREADS" "AT_ONCE" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
    if(ARG_NO_THREADS AND KEL_SANITIZERS MATCHES "thread")
        return()
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE kel_compile_flags ${ARG_LIBRARIES} kel_test_paths GTest::gmock_main)
    kel_use_unity_build(${name})
    if(KEL_TIDY)
        kel_use_tidy(${name} "${PROJECT_SOURCE_DIR}/tests/.clang-tidy")
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Compiles in two thirds of the time; what is tested stays optimised. Without any optimisation
        # the linker for Windows takes minutes.
        target_compile_options(${name} PRIVATE $<${kel_optimised}:-O1>)
    elseif(KEL_SANITIZERS)
        # What is tested is held against all of them. These two double the size of a test.
        target_compile_options(${name} PRIVATE -fno-sanitize=undefined,integer)
    endif()
    # A folder of programs alone: tests make a folder "config" beside themselves.
    set_target_properties(${name} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/test-programs")
    if(CMAKE_CROSSCOMPILING OR KEL_SANITIZERS)
        if(NOT ARG_AT_ONCE)
            set(ARG_AT_ONCE 1)
        endif()
        add_test(NAME ${name}
            COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/tests/support/run_shards.py" ${ARG_AT_ONCE}
                    ${CMAKE_CROSSCOMPILING_EMULATOR} "$<TARGET_FILE:${name}>")
        set_tests_properties(${name} PROPERTIES TIMEOUT 600 ${ARG_PROPERTIES})
    else()
        gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120 ${ARG_PROPERTIES})
    endif()
endfunction()

# kel_skip_test(name reason): a test that cannot run on this platform still shows in CTest's list.
function(kel_skip_test name reason)
    add_test(NAME ${name} COMMAND "${CMAKE_COMMAND}" -E echo "skipped: ${reason}")
    set_tests_properties(${name} PROPERTIES SKIP_REGULAR_EXPRESSION "^skipped: ")
endfunction()
