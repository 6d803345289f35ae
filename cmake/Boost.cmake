# Boost's Asio, Beast and JSON as the target kel_boost. Debian has them as headers; what they allow to be
# compiled once is compiled once, here.

set(boost_source "${CMAKE_BINARY_DIR}/boost/boost.cpp")
file(CONFIGURE OUTPUT "${boost_source}" CONTENT
"#include <boost/asio/impl/src.hpp>
#include <boost/beast/src.hpp>
#include <boost/json/src.hpp>
")
add_library(kel_boost STATIC "${boost_source}")
target_link_libraries(kel_boost PUBLIC kel_compile_flags Threads::Threads)
target_compile_options(kel_boost PRIVATE $<IF:$<BOOL:${MSVC}>,/w,-w>)
target_include_directories(kel_boost SYSTEM PUBLIC "${KEL_BOOST_INCLUDE_DIR}")
target_compile_definitions(kel_boost PUBLIC
    BOOST_ALL_NO_LIB BOOST_ASIO_SEPARATE_COMPILATION BOOST_ASIO_NO_DEPRECATED
    BOOST_BEAST_SEPARATE_COMPILATION)
if(KEL_SANITIZERS MATCHES "thread")
    # The thread sanitizer does not understand fences. These only serve handlers that share data
    # without a lock, which ours do not.
    target_compile_definitions(kel_boost PUBLIC BOOST_ASIO_DISABLE_FENCED_BLOCK)
endif()
if(MINGW)
    # At -O1, which makes the tests, GCC 12 for Windows makes every read of Beast end with "buffer overflow".
    target_compile_options(kel_boost PUBLIC $<${kel_optimised}:-O2>)
endif()
if(WIN32)
    target_link_libraries(kel_boost PUBLIC bcrypt ws2_32 mswsock)
endif()
