#include "xml/Quoting.hpp"

#include <cstddef>

#include "platform/TextEncoding.hpp"
#include "xml/Scan.hpp"

namespace Xml {

std::string shortened(std::string_view text) {
    constexpr std::size_t maxShown = 60;
    std::size_t characters = 0;
    for (std::size_t offset = 0; offset < text.size(); ++offset) {
        if (Scan::beginsCharacter(text[offset]) && ++characters > maxShown) {
            return std::string(text.substr(0, offset)) + "...";
        }
    }
    return std::string(text);
}

std::wstring inQuotes(std::string_view text) {
    return L"\"" + Quarlen::Platform::fromUtf8(shortened(text)) + L"\"";
}

} // namespace Xml
