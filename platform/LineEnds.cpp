#include "platform/LineEnds.hpp"

namespace Quarlen::Platform {

std::string LineEnds::withReturns(std::string_view text) {
    std::string result;
    result.reserve(text.size() + text.size() / 16);
    for (const char letter : text) {
        if (letter == '\n' && !isAfterReturn) {
            result += '\r';
        }
        result += letter;
        isAfterReturn = letter == '\r';
    }
    return result;
}

void LineEnds::note(std::string_view text) {
    if (!text.empty()) {
        isAfterReturn = text.back() == '\r';
    }
}

} // namespace Quarlen::Platform
