#pragma once

#include <string_view>

namespace Quarlen::Kel_cpp {

/// The style sheet of a vehicle report: light and dark, from phone width up, A4 on paper. Holds no
/// "<" and no "&", so it can stand in a document as it is.
extern const std::string_view reportStyle;

} // namespace Quarlen::Kel_cpp
