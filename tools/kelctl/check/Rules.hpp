#pragma once

#include <span>
#include <string_view>

namespace Quarlen::Ctl {

/// A kind of finding; its name never changes.
struct Rule {
    std::string_view id;
    std::string_view meaning;
};

/// All kinds of findings, by their names.
std::span<const Rule> allRules();

} // namespace Quarlen::Ctl
