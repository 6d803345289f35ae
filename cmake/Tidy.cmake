# The target kel_tidy: the product's sources, checked with clang-tidy. Many as one, because most of a check is
# the standard library, which they share so. What has not changed is not checked again.

get_property(sources GLOBAL PROPERTY KEL_PRODUCT_SOURCES)
# The network's, which take longest, come first: nothing else is left to do beside them otherwise.
list(REVERSE sources)
get_property(libraries GLOBAL PROPERTY KEL_PRODUCT_LIBRARIES)
add_library(kel_tidy OBJECT EXCLUDE_FROM_ALL ${sources} "${PROJECT_SOURCE_DIR}/kel_server/main.cpp")
target_link_libraries(kel_tidy PRIVATE
    ${libraries} kel_boost kel_httplib kel_picojson kel_utf8cpp
    EXPAT::EXPAT PkgConfig::libzip pugixml::pugixml spdlog::spdlog)
target_compile_definitions(kel_tidy PRIVATE $<TARGET_PROPERTY:kel_cpp,COMPILE_DEFINITIONS>)
kel_use_tidy(kel_tidy "${PROJECT_SOURCE_DIR}/.clang-tidy")
set_target_properties(kel_tidy PROPERTIES
    UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 24
    CXX_COMPILER_LAUNCHER "${CMAKE_CURRENT_LIST_DIR}/includes-only")
