# Third-party libraries, which scripts/setup brings, as targets that are named alike on all systems.

set(KEL_DEPENDENCIES_FOLDER "${PROJECT_SOURCE_DIR}/.dependencies" CACHE PATH
    "Folder that scripts/setup puts source dependencies into")

if(WIN32)
    include(WindowsDependencies)
else()
    include(LinuxDependencies)
endif()

target_compile_definitions(kel_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
if(KEL_SANITIZERS MATCHES "thread")
    # The thread sanitizer does not understand fences. These only serve handlers that share data
    # without a lock, which ours do not.
    target_compile_definitions(kel_asio INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()

add_library(kel_httplib INTERFACE)
target_include_directories(kel_httplib SYSTEM INTERFACE "${KEL_HTTPLIB_FOLDER}")
target_link_libraries(kel_httplib INTERFACE Threads::Threads)
# Paths are matched by a recursive regular expression, 320 bytes of stack per character: the longest
# target that is let through must be safe on the smallest stack in use. A backlog of 5 makes clients
# that arrive together wait for the kernel to try again.
target_compile_definitions(kel_httplib INTERFACE
    CPPHTTPLIB_REQUEST_URI_MAX_LENGTH=2048 CPPHTTPLIB_LISTEN_BACKLOG=128)
if(WIN32)
    target_link_libraries(kel_httplib INTERFACE ws2_32)
endif()
