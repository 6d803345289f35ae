# cpp-httplib from the source that scripts/setup fetched into KEL_HTTPLIB_FOLDER, as the target
# kel_httplib. Its own script splits the header, so that the implementation is compiled once instead
# of in every source that includes it. A compiled one of the system has its limits compiled in and
# cannot be used.

file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/httplib.version" KEL_HTTPLIB_VERSION LIMIT_COUNT 1)
set(httplib_header "${KEL_HTTPLIB_FOLDER}/httplib.h")
set(httplib_splitter "${KEL_DEPENDENCIES_FOLDER}/cpp-httplib/split.py")
foreach(file IN ITEMS "${httplib_header}" "${httplib_splitter}")
    if(NOT EXISTS "${file}")
        message(FATAL_ERROR "${file} is missing; run scripts/setup")
    endif()
endforeach()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    "${PROJECT_SOURCE_DIR}/cmake/httplib.version" "${httplib_header}")
file(STRINGS "${httplib_header}" httplib_version_line REGEX "^#define CPPHTTPLIB_VERSION \"")
string(REGEX MATCH "[0-9.]+" httplib_found "${httplib_version_line}")
if(httplib_found VERSION_LESS KEL_HTTPLIB_VERSION)
    message(FATAL_ERROR "${httplib_header} has version ${httplib_found}, "
        "${KEL_HTTPLIB_VERSION} or newer is wanted; run scripts/setup")
endif()
message(STATUS "Found httplib: ${httplib_header} (found version \"${httplib_found}\")")

find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(httplib_split "${CMAKE_BINARY_DIR}/httplib")
file(COPY "${httplib_header}" "${httplib_splitter}" DESTINATION "${httplib_split}/source")
execute_process(
    COMMAND "${Python3_EXECUTABLE}" "${httplib_split}/source/split.py" --out "${httplib_split}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

add_library(kel_httplib STATIC "${httplib_split}/httplib.cc")
target_link_libraries(kel_httplib PUBLIC kel_compile_flags Threads::Threads)
target_compile_options(kel_httplib PRIVATE $<IF:$<BOOL:${MSVC}>,/w,-w>)
target_include_directories(kel_httplib SYSTEM PUBLIC "${httplib_split}")
# Paths are matched by a recursive regular expression, 320 bytes of stack per character: the longest
# target that is let through must be safe on the smallest stack in use. A backlog of 5 makes clients
# that arrive together wait for the kernel to try again.
target_compile_definitions(kel_httplib PUBLIC
    CPPHTTPLIB_REQUEST_URI_MAX_LENGTH=2048 CPPHTTPLIB_LISTEN_BACKLOG=128)
if(WIN32)
    target_link_libraries(kel_httplib PUBLIC ws2_32)
endif()
