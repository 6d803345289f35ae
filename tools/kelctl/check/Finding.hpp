#pragma once

#include <string>

#include "xml/Fault.hpp"

namespace Quarlen::Ctl {

enum class Severity {
    /// What the script asks for will not happen.
    Error,
    /// It may be meant so.
    Warning,
};

/// One thing that an engineer should know before the car is there.
struct Finding {
    Severity severity = Severity::Error;
    /// A name that never changes, for those who silence or count findings.
    std::string rule;
    /// As the user named it.
    std::wstring file;
    Xml::Place place;
    std::wstring text;
    /// What would be right; empty where there is no short answer.
    std::wstring expected;
    /// What to do about it; may be empty.
    std::wstring hint;
};

} // namespace Quarlen::Ctl
