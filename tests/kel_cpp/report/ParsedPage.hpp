#pragma once

#include <string>
#include <vector>

#include <pugixml.hpp>

namespace Quarlen::Kel_cpp::Tests {

/// A page as a reader's program sees it. A page that is not well-formed fails the test.
class ParsedPage {
public:
    explicit ParsedPage(const std::string& page);

    /// Text of the first match, descendants included; "(none)" when nothing matches.
    [[nodiscard]] std::string text(const char* xpath) const;
    [[nodiscard]] std::vector<std::string> texts(const char* xpath) const;
    [[nodiscard]] std::size_t count(const char* xpath) const;

private:
    pugi::xml_document document;
};

} // namespace Quarlen::Kel_cpp::Tests
