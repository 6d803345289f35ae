#pragma once

#include <string>

namespace Quarlen::Kel_cpp {

/// The page for people, with its script and style inside, and the policy that lets a browser run
/// exactly that script: the page shows texts of scripts and vehicles, and none of them may become
/// code.
struct ClientPage {
    std::string html;
    /// Content-Security-Policy (W3C CSP level 3).
    std::string policy;
};

/// Puts the page together from the parts that are built into the program.
ClientPage makeClientPage();

} // namespace Quarlen::Kel_cpp
