#include "tools/kelctl/output/Output.hpp"

#include <cerrno>
#include <iterator>
#include <ostream>

#include <boost/json/serialize.hpp>
#include <utf8.h>

#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl {

namespace {

/// ECMA-48, 8.3.117 (select graphic rendition), 8.3.39 (erase in page), 8.3.22 (cursor up).
const char* codeOf(Colour colour) {
    switch (colour) {
    case Colour::Good:
        return "\x1b[32m";
    case Colour::Bad:
        return "\x1b[31m";
    case Colour::Note:
        return "\x1b[33m";
    case Colour::Quiet:
        return "\x1b[2m";
    case Colour::None:
        break;
    }
    return "";
}

constexpr const char* plain = "\x1b[0m";
constexpr const char* eraseBelow = "\r\x1b[J";

/// Controls (ISO 6429), also those of eight bits, and what turns or breaks the line (Unicode
/// 15, 23.2 and 5.8).
bool steersTheTerminal(char32_t letter) {
    return letter < 0x20 || (letter >= 0x7F && letter < 0xA0) || letter == 0x2028 ||
           letter == 0x2029 || letter == 0x200E || letter == 0x200F ||
           (letter >= 0x202A && letter <= 0x202E) || (letter >= 0x2066 && letter <= 0x2069);
}

} // namespace

Output::~Output() {
    // What stays behind a bar would stand on its line.
    if (hasReplaceable && replaceableRows == 0) {
        clearReplaceable();
        stream << std::flush;
    }
}

void Output::text(std::string_view text) {
    clearReplaceable();
    stream << text << '\n';
    flush();
}

void Output::line(std::string_view text) {
    if (style.json) {
        return;
    }
    Output::text(text);
}

void Output::value(const boost::json::value& value) {
    if (style.json) {
        clearReplaceable();
        stream << boost::json::serialize(value) << '\n';
        flush();
    }
}

std::string Output::coloured(Colour colour, const std::string& text) const {
    return style.coloured && colour != Colour::None ? codeOf(colour) + text + plain : text;
}

void Output::replaceLine(std::string_view text) {
    if (style.json || !style.isTerminal) {
        return;
    }
    clearReplaceable();
    stream << text;
    flush();
    hasReplaceable = !text.empty();
}

void Output::replaceLines(const std::vector<std::string>& lines) {
    if (style.json || !style.isTerminal) {
        return;
    }
    clearReplaceable();
    for (const std::string& line : lines) {
        stream << line << '\n';
    }
    flush();
    replaceableRows = lines.size();
    hasReplaceable = true;
}

void Output::flush() {
    stream << std::flush;
    if (!stream) {
        // Who has read enough, "head" for example, wants to hear nothing of it.
        const bool readerHasGone = errno == EPIPE;
        throw Failure(ExitCode::Refused, readerHasGone ? "" : "standard output cannot be written");
    }
}

void Output::clearReplaceable() {
    // What follows is written: `flush` tells why it could not be.
    errno = 0;
    if (!hasReplaceable) {
        return;
    }
    if (replaceableRows > 0) {
        stream << "\x1b[" << replaceableRows << 'A';
    }
    stream << eraseBelow;
    replaceableRows = 0;
    hasReplaceable = false;
}

std::string printable(std::string_view text) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), U'?');
    std::string clean;
    for (auto at = valid.begin(); at != valid.end();) {
        const char32_t letter = utf8::next(at, valid.end());
        utf8::append(steersTheTerminal(letter) ? U'?' : letter, std::back_inserter(clean));
    }
    return clean;
}

std::string printable(const boost::json::value& text) {
    return text.is_string() ? printable(std::string_view(text.get_string())) : std::string();
}

} // namespace Quarlen::Ctl
