#include "tools/kelctl/check/FindingFormats.hpp"

#include <algorithm>
#include <filesystem>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/Rules.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

const char* wordOf(Severity severity) {
    return severity == Severity::Error ? "error" : "warning";
}

std::string messageOf(const Finding& finding) {
    std::string text = Platform::toUtf8(finding.text);
    if (!finding.expected.empty()) {
        text += "; expected " + Platform::toUtf8(finding.expected);
    }
    if (!finding.hint.empty()) {
        text += "; " + Platform::toUtf8(finding.hint);
    }
    return text;
}

std::string percentEncoded(char letter) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(letter);
    return {'%', digits[byte / 16U], digits[byte % 16U]};
}

/// What would end the command or the property early.
std::string escaped(const std::string& text, bool isProperty) {
    std::string safe;
    for (const char letter : text) {
        const bool isSpecial = letter == '%' || letter == '\r' || letter == '\n' ||
                               (isProperty && (letter == ':' || letter == ','));
        if (isSpecial) {
            safe += percentEncoded(letter);
        } else {
            safe += letter;
        }
    }
    return safe;
}

/// With the separators that all systems understand. The library's own function takes a share for
/// a folder of the current drive.
std::string genericName(const std::filesystem::path& file) {
    constexpr auto separator = static_cast<char>(std::filesystem::path::preferred_separator);
    std::string name = Platform::toUtf8(Platform::fromPath(file));
    std::replace(name.begin(), name.end(), separator, '/');
    return name;
}

/// A letter that an address may have as it is (RFC 3986, clause 3.3).
bool isPlain(char letter) {
    constexpr std::string_view marks = "/-._~!$&'()*+,;=@";
    return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= 'a' && letter <= 'z') || marks.find(letter) != std::string_view::npos;
}

/// What comes before an absolute name (RFC 8089): that of a share begins with its server, the host.
const char* addressPrefix(const std::string& name) {
    return name.starts_with("//") ? "file:" : name.starts_with('/') ? "file://" : "file:///";
}

/// A relative name stays relative to where the program runs: the root of what is reviewed.
std::string uriOf(const Finding& finding) {
    const auto file = Platform::toPath(finding.file);
    // On Windows a name that begins with a separator lacks its drive.
    const bool isAbsolute = file.has_root_directory();
    const std::string name = genericName(isAbsolute ? wholePath(file) : file);
    std::string uri = isAbsolute ? addressPrefix(name) : "";
    for (const char letter : name) {
        if (isPlain(letter) || (isAbsolute && letter == ':')) {
            uri += letter;
        } else {
            uri += percentEncoded(letter);
        }
    }
    return uri;
}

json::array sarifRules() {
    json::array rules;
    for (const Rule& rule : allRules()) {
        rules.push_back(json::object{{"id", rule.id},
                                     {"shortDescription", json::object{{"text", rule.meaning}}}});
    }
    return rules;
}

json::object sarifResult(const Finding& finding) {
    const json::object region{{"startLine", finding.place.line},
                              {"startColumn", finding.place.column}};
    const json::object artifact{{"uri", uriOf(finding)}};
    return {{"ruleId", finding.rule},
            {"level", wordOf(finding.severity)},
            {"message", json::object{{"text", messageOf(finding)}}},
            {"locations", json::array{json::object{
                              {"physicalLocation", json::object{{"artifactLocation", artifact},
                                                                {"region", region}}}}}}};
}

} // namespace

std::string textOf(const Finding& finding) {
    return Platform::toUtf8(finding.file) + ":" + std::to_string(finding.place.line) + ":" +
           std::to_string(finding.place.column) + ": " + wordOf(finding.severity) + ": " +
           messageOf(finding) + " [" + finding.rule + "]";
}

std::string gitHubLineOf(const Finding& finding) {
    return std::string("::") + wordOf(finding.severity) +
           " file=" + escaped(genericName(Platform::toPath(finding.file)), true) +
           ",line=" + std::to_string(finding.place.line) +
           ",col=" + std::to_string(finding.place.column) + ",title=" + finding.rule +
           "::" + escaped(messageOf(finding), false);
}

std::string sarifOf(const std::vector<Finding>& findings) {
    json::array results;
    for (const Finding& finding : findings) {
        results.push_back(sarifResult(finding));
    }
    const json::object driver{{"name", "kelctl"}, {"rules", sarifRules()}};
    const json::object run{{"tool", json::object{{"driver", driver}}},
                           {"columnKind", "unicodeCodePoints"},
                           {"results", std::move(results)}};
    return json::serialize(
        json::object{{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                     {"version", "2.1.0"},
                     {"runs", json::array{run}}});
}

} // namespace Quarlen::Ctl
