#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "kel_cpp/projects/Project.hpp"
#include "xml/File.hpp"

namespace Quarlen::Kel_cpp {

/// The expected bytes of a response.
struct Expectation {
    std::vector<ExpectedByte> bytes;
    bool openEnd = false;
    bool noAnswer = false;
};

/// Parses for example "62 F1 90 ?? *"; blanks between the bytes are optional. "none" stands for no
/// answer at all. Returns nothing for any other text.
std::optional<Expectation> parseExpectation(std::string_view text);

/// One `Procedure` element below the project's root, its steps in order. Throws `Xml::FileError`.
OtxProcedure readProcedure(const Xml::File& file, const pugi::xml_node& node);

} // namespace Quarlen::Kel_cpp
