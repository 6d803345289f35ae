#pragma once

#include <string>
#include <string_view>

namespace Quarlen::Platform {

/// Makes every line of a text begin at the left on a screen that takes "\n" as "one line down" and
/// nothing else.
class LineEnds {
public:
    /// Each "\n" that has no "\r" before it gets one, also across two calls.
    std::string withReturns(std::string_view text);
    /// The text reached a screen that needs no help.
    void note(std::string_view text);

private:
    bool isAfterReturn = false;
};

} // namespace Quarlen::Platform
