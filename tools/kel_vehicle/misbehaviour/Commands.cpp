#include "tools/kel_vehicle/misbehaviour/Commands.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <fstream>
#include <limits>

#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::KelVehicle {

namespace {

/// One of the words that blanks separate.
struct Word {
    std::string_view text;
    std::size_t column;
};

[[noreturn]] void failAt(const Word& word, const std::string& cause) {
    throw CommandError(word.column, cause);
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::vector<Word> wordsOf(std::string_view line) {
    constexpr std::string_view blanks = " \t\r";
    line = line.substr(0, line.find('#'));
    std::vector<Word> words;
    for (std::size_t begin = 0;;) {
        begin = line.find_first_not_of(blanks, begin);
        if (begin == std::string_view::npos) {
            return words;
        }
        const std::size_t end = std::min(line.find_first_of(blanks, begin), line.size());
        words.push_back({line.substr(begin, end - begin), begin + 1});
        begin = end;
    }
}

/// Nothing when the text is not a whole number in this range.
std::optional<std::uint64_t> numberIn(std::string_view text, int base, std::uint64_t min,
                                      std::uint64_t max) {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || parsed != end || value < min || value > max) {
        return {};
    }
    return value;
}

/// Decimal, or hexadecimal with "0x".
std::uint64_t number(const Word& value, std::uint64_t min, std::uint64_t max) {
    const bool isHex = value.text.starts_with("0x") || value.text.starts_with("0X");
    const auto found =
        isHex ? numberIn(value.text.substr(2), 16, min, max) : numberIn(value.text, 10, min, max);
    if (!found) {
        failAt(value, quoted(value.text) + " is no number from " + std::to_string(min) + " to " +
                          std::to_string(max));
    }
    return *found;
}

std::chrono::milliseconds duration(const Word& value) {
    constexpr std::chrono::milliseconds longest = std::chrono::hours(1);
    std::string_view digits = value.text;
    const bool isMilliseconds = digits.ends_with("ms");
    digits.remove_suffix(isMilliseconds ? 2 : std::min<std::size_t>(1, digits.size()));
    const std::uint64_t factor = isMilliseconds ? 1 : 1000;
    const auto count =
        numberIn(digits, 10, 1, static_cast<std::uint64_t>(longest.count()) / factor);
    if (!count || (!isMilliseconds && !value.text.ends_with('s'))) {
        failAt(value, quoted(value.text) + " is no duration up to an hour, expected 1500ms or 70s");
    }
    return std::chrono::milliseconds(*count * factor);
}

/// What a kind takes beside unit, at and times; empty for nothing.
struct KindWords {
    std::string_view word;
    MisbehaviourKind kind;
    std::string_view durationName;
    bool takesCode;
};

constexpr std::array<KindWords, 10> kinds{{
    {"pending", MisbehaviourKind::Pending, "for", false},
    {"silence", MisbehaviourKind::Silence, "", false},
    {"late", MisbehaviourKind::Late, "by", false},
    {"refuse", MisbehaviourKind::Refuse, "", true},
    {"close", MisbehaviourKind::Close, "", false},
    {"cut", MisbehaviourKind::Cut, "", false},
    {"slow", MisbehaviourKind::Slow, "by", false},
    {"echo", MisbehaviourKind::Echo, "", false},
    {"noack", MisbehaviourKind::NoAcknowledgement, "", false},
    {"nack", MisbehaviourKind::NegativeAcknowledgement, "", true},
}};

/// Reads one command's words from left to right.
class CommandReader {
public:
    CommandReader(const std::vector<Word>& words, const KindWords& kind)
        : words(words), kind(kind) {}

    Misbehaviour read() {
        what.kind = kind.kind;
        for (std::size_t index = 1; index < words.size(); ++index) {
            if (words[index].text.find('=') == std::string_view::npos) {
                readByte(words[index]);
            } else {
                readSetting(words[index]);
            }
        }
        checkComplete();
        return what;
    }

private:
    void readByte(const Word& word) {
        const auto byte = numberIn(word.text, 16, 0, 0xFF);
        if (word.text.size() != 2 || !byte) {
            failAt(word,
                   quoted(word.text) + " is no byte of a request, expected two hexadecimal digits");
        }
        if (hasSettings) {
            failAt(word, "the bytes of the request come before the settings");
        }
        what.request.push_back(static_cast<std::uint8_t>(*byte));
    }

    void readSetting(const Word& word) {
        constexpr std::uint64_t maxCount = std::numeric_limits<std::uint32_t>::max();
        hasSettings = true;
        const std::size_t equals = word.text.find('=');
        const std::string_view name = word.text.substr(0, equals);
        const Word value{word.text.substr(equals + 1), word.column + equals + 1};
        if (name == "unit") {
            what.unit = static_cast<std::uint16_t>(number(value, 1, 0xFFFF));
        } else if (name == "at") {
            what.at = static_cast<std::uint32_t>(number(value, 1, maxCount));
        } else if (name == "times") {
            what.times = static_cast<std::uint32_t>(number(value, 1, maxCount));
        } else if (name == kind.durationName) {
            what.duration = duration(value);
        } else if (name == "code" && kind.takesCode) {
            what.code = static_cast<std::uint8_t>(number(value, 1, 0xFF));
        } else {
            failAt(word, std::string(kind.word) + " has no setting " + quoted(name));
        }
    }

    void checkComplete() const {
        if (what.request.empty()) {
            failAt(words.front(), std::string(kind.word) + " needs the first bytes of a request");
        }
        if (!kind.durationName.empty() && what.duration.count() == 0) {
            failAt(words.front(),
                   std::string(kind.word) + " needs " + std::string(kind.durationName) + "=");
        }
        if (kind.takesCode && what.code == 0) {
            failAt(words.front(), std::string(kind.word) + " needs code=");
        }
    }

    const std::vector<Word>& words;
    const KindWords& kind;
    Misbehaviour what;
    bool hasSettings = false;
};

const KindWords& kindOf(const Word& word) {
    const auto found = std::find_if(kinds.begin(), kinds.end(),
                                    [&](const auto& kind) { return kind.word == word.text; });
    if (found == kinds.end()) {
        std::string known = "clear";
        for (const auto& kind : kinds) {
            known += ", " + std::string(kind.word);
        }
        failAt(word, "there is no command " + quoted(word.text) + ", expected one of " + known);
    }
    return *found;
}

} // namespace

std::optional<Command> parseCommand(std::string_view line) {
    const auto words = wordsOf(line);
    if (words.empty()) {
        return {};
    }
    if (words.front().text == "clear") {
        if (words.size() > 1) {
            failAt(words[1], "clear takes nothing");
        }
        return ClearMisbehaviours();
    }
    return CommandReader(words, kindOf(words.front())).read();
}

CommandFile readCommandFile(const std::filesystem::path& file) {
    const std::string name = Platform::toUtf8(Platform::fromPath(file));
    errno = 0;
    std::ifstream stream(Platform::openablePath(file), std::ios::binary);
    CommandFile read;
    std::string line;
    for (std::size_t number = 1; std::getline(stream, line); ++number) {
        try {
            if (const auto command = parseCommand(line)) {
                read.commands.push_back(*command);
            }
        } catch (const CommandError& error) {
            read.mistakes.push_back(name + ":" + std::to_string(number) + ":" +
                                    std::to_string(error.column()) + ": " + error.what());
        }
    }
    if (!stream.is_open() || stream.bad()) {
        throw std::runtime_error(name + ": " +
                                 Platform::toUtf8(Platform::errorText(Platform::streamError())));
    }
    return read;
}

} // namespace Quarlen::KelVehicle
