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

include(Httplib)
