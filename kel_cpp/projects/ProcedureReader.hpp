#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "kel_cpp/projects/Project.hpp"
#include "kel_cpp/settings/XmlReading.hpp"

namespace Quarlen::Kel_cpp {

/// What an answer must look like.
struct Expectation {
    std::vector<ExpectedByte> bytes;
    bool openEnd = false;
};

/// "62 F1 90 ?? *"; blanks between the bytes are optional. Nothing when it is anything else.
std::optional<Expectation> parseExpectation(std::string_view text);

/// One `Procedure` element below the project's root, its steps in order. Throws `KelApiException`
/// (code Configuration).
OtxProcedure readProcedure(const XmlFile& file, const pugi::xml_node& node);

} // namespace Quarlen::Kel_cpp
