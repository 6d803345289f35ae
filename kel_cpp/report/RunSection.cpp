#include "kel_cpp/report/RunSection.hpp"

namespace Quarlen::Kel_cpp {

namespace {

void writeOutcome(HtmlWriter& html, RunResult::Outcome outcome) {
    switch (outcome) {
    case RunResult::Outcome::Running:
        return html.element("span", "badge quiet", "Not ended");
    case RunResult::Outcome::Passed:
        return html.element("span", "badge good", "Passed");
    case RunResult::Outcome::Failed:
        return html.element("span", "badge bad", "Failed");
    case RunResult::Outcome::Cancelled:
        return html.element("span", "badge note", "Cancelled");
    }
}

void writeResult(HtmlWriter& html, const RunResult& result) {
    const auto row = html.open("tr");
    html.element("td", "soft", result.kind);
    {
        const auto cell = html.open("td");
        html.element("strong", "", result.name);
        for (const std::wstring& line : result.lines) {
            html.element("p", "", line);
        }
    }
    const auto cell = html.open("td");
    writeOutcome(html, result.outcome);
}

} // namespace

void writeRunSection(HtmlWriter& html, const std::vector<RunResult>& results) {
    if (results.empty()) {
        return;
    }
    const auto card = html.open("section", "card run");
    html.element("h2", "", "Results of this run");
    const auto table = html.open("table");
    const auto body = html.open("tbody");
    for (const RunResult& result : results) {
        writeResult(html, result);
    }
}

} // namespace Quarlen::Kel_cpp
