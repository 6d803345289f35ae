# The targets kel_tidy, kel_tidy_network and kel_tidy_kelctl: the product's sources, checked with clang-tidy. Many as one,
# because most of a check is the standard library, which they share so. What has not changed is not checked
# again. The sources that use Boost are on their own: a third of the time goes into its templates.

get_property(sources GLOBAL PROPERTY KEL_PRODUCT_SOURCES)
get_property(libraries GLOBAL PROPERTY KEL_PRODUCT_LIBRARIES)
set(network ${sources})
list(FILTER network INCLUDE REGEX "/kel_cpp/(network|rpc)/")
set(kelctl ${sources})
list(FILTER kelctl INCLUDE REGEX "/tools/kelctl/")
list(REMOVE_ITEM sources ${network} ${kelctl})

function(kel_add_tidy name)
    add_library(${name} OBJECT EXCLUDE_FROM_ALL ${ARGN})
    target_link_libraries(${name} PRIVATE
        ${libraries} kel_boost kel_cli11 kel_httplib kel_picojson kel_utf8cpp
        EXPAT::EXPAT PkgConfig::libzip pugixml::pugixml spdlog::spdlog)
    target_compile_definitions(${name} PRIVATE $<TARGET_PROPERTY:kel_cpp,COMPILE_DEFINITIONS>)
    kel_use_tidy(${name} "${PROJECT_SOURCE_DIR}/.clang-tidy")
    set_target_properties(${name} PROPERTIES
        UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 24
        CXX_COMPILER_LAUNCHER "${PROJECT_SOURCE_DIR}/cmake/includes-only")
endfunction()

kel_add_tidy(kel_tidy ${sources} "${PROJECT_SOURCE_DIR}/kel_server/main.cpp")
kel_add_tidy(kel_tidy_network ${network})
kel_add_tidy(kel_tidy_kelctl ${kelctl} "${PROJECT_SOURCE_DIR}/tools/kelctl/main.cpp")
target_compile_definitions(kel_tidy PRIVATE KEL_VEHICLE_VERSION="${PROJECT_VERSION}")
target_compile_definitions(kel_tidy_kelctl PRIVATE KELCTL_VERSION="${PROJECT_VERSION}")
