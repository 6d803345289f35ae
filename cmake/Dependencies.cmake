# Third-party libraries, which scripts/setup brings, as targets that are named alike on all systems.

set(KEL_DEPENDENCIES_FOLDER "${PROJECT_SOURCE_DIR}/.dependencies" CACHE PATH
    "Folder that scripts/setup puts source dependencies into")

if(WIN32)
    include(WindowsDependencies)
else()
    include(LinuxDependencies)
endif()

include(Boost)

add_library(kel_cli11 INTERFACE)
target_include_directories(kel_cli11 SYSTEM INTERFACE "${KEL_CLI11_INCLUDE_DIR}")

include(Httplib)
