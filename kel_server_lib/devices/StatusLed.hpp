#pragma once

#include <cstdint>
#include <string>

/// The device shows people without a screen how a script goes by one light of three colours. The
/// system has a file for each colour, whose number is its intensity; a PC has none, and there the
/// light is left out without a word. Which colour means what stands in `LedColours`; the sequence
/// decides when it is shown. The files are opened for each change and nobody keeps them, so any
/// thread may set the light, and the last one wins.
namespace Quarlen {

/// Intensities, 0 to 255 as used.
struct LedColour {
    std::int32_t red = 0;
    std::int32_t green = 0;
    std::int32_t blue = 0;

    friend bool operator==(const LedColour&, const LedColour&) = default;
};

namespace LedColours {
inline constexpr LedColour running{0, 0, 255};
inline constexpr LedColour succeeded{0, 255, 0};
inline constexpr LedColour failed{255, 0, 0};
inline constexpr LedColour handNear{255, 80, 0};
inline constexpr LedColour allOn{255, 255, 255};
} // namespace LedColours

/// Writes the three intensities as decimal digits, on any thread. Where one of the three files
/// cannot be opened nothing is written; files are never created. An existing file that cannot be
/// written is traced, once per process. An empty prefix stands for a system without an LED.
void setLed(const std::string& prefix, const LedColour& colour);

} // namespace Quarlen
