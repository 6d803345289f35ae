#pragma once

#include <chrono>
#include <string>

namespace Quarlen::Kel_cpp {

/// The value of the header field Date (RFC 9110, 5.6.7).
std::string httpDate(std::chrono::system_clock::time_point time);

} // namespace Quarlen::Kel_cpp
