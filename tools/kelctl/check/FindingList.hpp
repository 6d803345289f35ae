#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// What is said of a place beside the fault itself.
struct Advice {
    std::wstring expected;
    std::wstring hint;
};

/// Gathers what is found in one file.
class FindingList {
public:
    /// `file` as the user named it.
    explicit FindingList(std::wstring file) : file(std::move(file)) {}

    /// Of a kind, in one file. Nobody reads more of them.
    static constexpr std::size_t maxFindings = 100;

    void add(Finding finding);
    void add(Severity severity, const char* rule, const Xml::Place& place, std::wstring text,
             Advice advice = {});
    void error(const char* rule, const Xml::Place& place, std::wstring text, Advice advice = {});
    void warning(const char* rule, const Xml::Place& place, std::wstring text, Advice advice = {});

    /// In the order of the file. The last one of a kind that has too many counts the rest.
    [[nodiscard]] std::vector<Finding> sorted() const;

private:
    std::wstring file;
    std::vector<Finding> found;
    std::map<std::string, std::size_t> counts;
    /// By their kind, the first ones that are only counted.
    std::map<std::string, Finding> surplus;
};

/// The finding that a message "file:line:column: cause" of one of the runtime's readers stands for;
/// a message without a place stands for the begin of the file. `file` is how the message names it.
Finding findingOf(const std::wstring& message, const std::filesystem::path& file, Severity severity,
                  const char* rule, std::wstring hint);

/// How a file is named to people: from the current folder where it lies below that.
std::wstring shownName(const std::filesystem::path& file);
std::filesystem::path shownPath(const std::filesystem::path& file);

/// A path as a text; letters that are none are shown as U+FFFD.
std::wstring textOfPath(const std::filesystem::path& file);

} // namespace Quarlen::Ctl
