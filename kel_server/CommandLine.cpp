#include "kel_server/CommandLine.hpp"

#include <algorithm>
#include <string_view>

#include "kel_server/Usage.hpp"

namespace Quarlen {

namespace {

struct OptionWord {
    std::wstring_view word;
    bool StartOptions::*flag;
};

/// In the order in which an argument is tested; the first word that it contains decides.
constexpr std::array<OptionWord, 6> optionWords{{
    {L"--delayedStart", &StartOptions::delayedStart},
    {L"--non_interactive", &StartOptions::nonInteractive},
    {L"--dbus", &StartOptions::dbus},
    {L"--REST", &StartOptions::rest},
    {L"--sovd", &StartOptions::sovd},
    {L"--SOVD", &StartOptions::sovd},
}};

bool contains(std::wstring_view argument, std::wstring_view word) {
    return argument.find(word) != std::wstring_view::npos;
}

bool setOptionFlag(StartOptions& options, std::wstring_view argument) {
    const auto found =
        std::find_if(optionWords.begin(), optionWords.end(), [argument](const OptionWord& option) {
            return contains(argument, option.word);
        });
    if (found == optionWords.end()) {
        return false;
    }
    options.*(found->flag) = true;
    return true;
}

bool asksForUsage(std::wstring_view argument) {
    return contains(argument, L"--help") || contains(argument, L"-help") || argument == L"?";
}

/// Supervisors pass this option; it has no effect.
bool isAcceptedAndIgnored(std::wstring_view argument) {
    return contains(argument, L"--watchdogPresent");
}

void storePositional(StartOptions& options, std::size_t index, std::wstring_view argument) {
    if (index < options.arguments.size()) {
        options.arguments[index] = argument;
        ++options.argumentCount;
    }
}

} // namespace

CommandLineResult parseCommandLine(StartOptions& options, int argc, const wchar_t* const argv[],
                                   Platform::Console& console) {
    const auto count = static_cast<std::size_t>(std::max(argc, 0));
    for (std::size_t index = 0; index < count; ++index) {
        const std::wstring_view argument = argv[index];
        if (setOptionFlag(options, argument)) {
            continue;
        }
        if (asksForUsage(argument)) {
            printUsage(console, argv[0]);
            return CommandLineResult::UsageShown;
        }
        if (!isAcceptedAndIgnored(argument)) {
            storePositional(options, index, argument);
        }
    }
    return CommandLineResult::GoOn;
}

} // namespace Quarlen
