#include "tools/kelctl/check/FindingList.hpp"

#include <algorithm>
#include <system_error>

#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Ctl {

namespace {

/// Takes ":12" off the text. Zero, and the text as it was, when there is no such number.
std::size_t takeNumber(std::wstring_view& text) {
    std::size_t number = 0;
    std::size_t at = 1;
    while (at < text.size() && text[at] >= L'0' && text[at] <= L'9') {
        number = number * 10 + static_cast<std::size_t>(text[at] - L'0');
        ++at;
    }
    if (at == 1 || text.front() != L':') {
        return 0;
    }
    text.remove_prefix(at);
    return number;
}

} // namespace

void FindingList::add(Finding finding) {
    if (++counts[finding.rule] <= maxFindings) {
        found.push_back(std::move(finding));
    } else if (const auto first = surplus.find(finding.rule); first == surplus.end()) {
        surplus.emplace(finding.rule, std::move(finding));
    } else if (finding.severity == Severity::Error) {
        first->second.severity = Severity::Error;
    }
}

void FindingList::add(Severity severity, const char* rule, const Xml::Place& place,
                      std::wstring text, Advice advice) {
    add({severity, rule, file, place, std::move(text), std::move(advice.expected),
         std::move(advice.hint)});
}

void FindingList::error(const char* rule, const Xml::Place& place, std::wstring text,
                        Advice advice) {
    add(Severity::Error, rule, place, std::move(text), std::move(advice));
}

void FindingList::warning(const char* rule, const Xml::Place& place, std::wstring text,
                          Advice advice) {
    add(Severity::Warning, rule, place, std::move(text), std::move(advice));
}

std::vector<Finding> FindingList::sorted() const {
    std::vector<Finding> list = found;
    for (const auto& [rule, first] : surplus) {
        const std::size_t more = counts.at(rule) - maxFindings;
        list.push_back({first.severity,
                        rule,
                        first.file,
                        first.place,
                        L"and " + std::to_wstring(more) + L" more of this kind",
                        {},
                        {}});
    }
    std::stable_sort(list.begin(), list.end(), [](const Finding& left, const Finding& right) {
        return left.place.offset < right.place.offset;
    });
    return list;
}

Finding findingOf(const std::wstring& message, const std::filesystem::path& file, Severity severity,
                  const char* rule, std::wstring hint) {
    Finding finding{severity, rule, shownName(file), {}, message, {}, std::move(hint)};
    const std::wstring name = Platform::fromPath(file);
    if (!message.starts_with(name)) {
        return finding;
    }
    std::wstring_view rest = std::wstring_view(message).substr(name.size());
    if (const std::size_t line = takeNumber(rest); line > 0) {
        finding.place.line = line;
        finding.place.column = std::max<std::size_t>(takeNumber(rest), 1);
    }
    if (rest.starts_with(L": ")) {
        finding.text = rest.substr(2);
    }
    return finding;
}

std::filesystem::path shownPath(const std::filesystem::path& file) {
    std::error_code failure;
    const auto here = std::filesystem::current_path(failure);
    const auto below = failure ? file : Platform::normalPath(file).lexically_relative(here);
    const bool isBelow = !below.empty() && *below.begin() != "..";
    return isBelow ? below : file;
}

std::wstring shownName(const std::filesystem::path& file) {
    return textOfPath(shownPath(file));
}

std::wstring textOfPath(const std::filesystem::path& file) {
    std::wstring text = Platform::fromPath(file);
    if (text.empty()) {
        for (const auto letter : file.native()) {
            text += letter >= 0x20 && letter < 0x7F ? static_cast<wchar_t>(letter) : L'\xFFFD';
        }
    }
    return text;
}

} // namespace Quarlen::Ctl
