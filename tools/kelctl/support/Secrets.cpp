#include "tools/kelctl/support/Secrets.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/regex.hpp>

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

/// A longer text is looked at in parts that end with a line. A value may stand on a line of its
/// own.
constexpr std::size_t wholePart = std::size_t{64} * 1024;
constexpr std::size_t digestDigits = 64;

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

bool hasLongHexNumber(const std::string& text) {
    std::size_t digits = 0;
    for (const char letter : text) {
        const bool isDigit = (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
        digits = isDigit ? digits + 1 : 0;
        if (digits >= digestDigits) {
            return true;
        }
    }
    return false;
}

/// Most lines of a trace have none, and looking closer takes a hundred times as long.
bool mayHaveSecret(const std::string& text) {
    constexpr std::array<const char*, 10> signs{"keymask", "passw", "passphrase", "pwd",   "secret",
                                                "token",   "key",   "bearer",     "basic", "@"};
    const std::string lower = lowerCase(text);
    return hasLongHexNumber(lower) ||
           std::any_of(signs.begin(), signs.end(),
                       [&](const char* sign) { return lower.find(sign) != std::string::npos; });
}

#define KEL_SECRET_NAME                                                                            \
    R"re([\w:.-]{0,40}(?:keymask|passw(?:or)?d|passphrase|pwd|secret|secret_?key|token|api[_-]?key))re"

/// What follows a name: in quotes of its own, in those of XML or JSON, or a word.
struct SecretForms {
    static constexpr auto flags = boost::regex::ECMAScript | boost::regex::icase;
    boost::regex assignment{
        "\\b(" KEL_SECRET_NAME R"re((?:\\?["'])?\s{0,20}[=:]\s{0,20}))re"
        R"re((\\"(?:[^"\\]|\\[^"]){0,4000}\\"|"(?:[^"\\]|\\.){0,4000}"|'[^']{0,4000}'|&quot;.{0,4000}?&quot;|[^\s"'<>,;]+))re",
        flags};
    boost::regex element{"<(" KEL_SECRET_NAME
                         R"re()(?:\s[^<>]{0,1000})?>(?:<!\[CDATA\[.{0,4000}?\]\]>|[^<])*<)re",
                         flags};
    boost::regex userOfUrl{R"re(\b(\w{1,20}://)[^/\s"'<>]+@)re", flags};
    boost::regex authorization{R"re(\b(Bearer|Basic)\s+[\w+/=.~-]+)re", flags};
    boost::regex privateKey{
        R"re(-----BEGIN [A-Z ]{1,40}-----[\s\S]{0,20000}?-----END [A-Z ]{1,40}-----)re", flags};
    /// As the file with the tokens has them.
    boost::regex digest{R"re(\b[0-9a-f]{64}\b)re", flags};
};

std::string blanked(const std::string& text) {
    if (!mayHaveSecret(text)) {
        return text;
    }
    static const SecretForms forms;
    std::string clean = boost::regex_replace(text, forms.privateKey, "***");
    clean = boost::regex_replace(clean, forms.authorization, "$1 ***");
    clean = boost::regex_replace(clean, forms.assignment, "$1\"***\"");
    clean = boost::regex_replace(clean, forms.element, "<$1>***<");
    clean = boost::regex_replace(clean, forms.digest, "***");
    return boost::regex_replace(clean, forms.userOfUrl, "$1***@");
}

bool isNamedLikeASecret(std::string_view name) {
    static const boost::regex form("^" KEL_SECRET_NAME "$", SecretForms::flags);
    return boost::regex_match(name.begin(), name.end(), form);
}

/// Where the part that begins there ends: behind a line, unless the line is longer than a part.
std::size_t endOfPart(const std::string& text, std::size_t begin) {
    if (text.size() - begin <= wholePart) {
        return text.size();
    }
    const std::size_t line = text.rfind('\n', begin + wholePart);
    return line == std::string::npos || line < begin ? begin + wholePart : line + 1;
}

} // namespace

std::string withoutSecrets(const std::string& text) {
    std::string clean;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = endOfPart(text, begin);
        clean += blanked(text.substr(begin, end - begin));
        begin = end;
    }
    return clean;
}

json::value withoutSecrets(const json::value& value) {
    if (const json::string* const text = value.if_string()) {
        return json::string(withoutSecrets(std::string(*text)));
    }
    if (const json::array* const array = value.if_array()) {
        json::array clean;
        for (const json::value& each : *array) {
            clean.push_back(withoutSecrets(each));
        }
        return clean;
    }
    if (const json::object* const object = value.if_object()) {
        json::object clean;
        for (const auto& member : *object) {
            clean[member.key()] = isNamedLikeASecret(member.key()) ? json::value("***")
                                                                   : withoutSecrets(member.value());
        }
        return clean;
    }
    return value;
}

} // namespace Quarlen::Ctl
