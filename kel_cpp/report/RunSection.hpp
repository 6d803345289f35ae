#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kel_cpp/report/HtmlWriter.hpp"

namespace Quarlen::Kel_cpp {

/// A job of the run that a report belongs to: a procedure, a service or a flash item.
struct RunResult {
    enum class Outcome { Running, Passed, Failed, Cancelled };

    /// "Procedure", "Service" or "Flash"
    std::string_view kind;
    std::wstring name;
    Outcome outcome = Outcome::Running;
    /// Each a line: the verdict, the cause of a failure, the sessions that are done.
    std::vector<std::wstring> lines;
};

/// Writes nothing when there are no results.
void writeRunSection(HtmlWriter& html, const std::vector<RunResult>& results);

} // namespace Quarlen::Kel_cpp
