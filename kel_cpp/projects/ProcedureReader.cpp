#include "kel_cpp/projects/ProcedureReader.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::uint64_t maxWait = std::uint64_t{24} * 60 * 60 * 1000;

constexpr std::string_view blanks = " \t\r\n";

std::string_view withoutBlanksInFront(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(blanks), text.size()));
}

std::string_view withoutBlanks(std::string_view text) {
    return withoutBlanksInFront(text.substr(0, text.find_last_not_of(blanks) + 1));
}

std::optional<ExpectedByte> parseExpectedByte(std::string_view token) {
    if (token == "??") {
        return ExpectedByte();
    }
    std::uint8_t value = 0;
    const auto* const end = token.data() + token.size();
    const auto parsed = std::from_chars(token.data(), end, value, 16);
    if (token.size() != 2 || parsed.ec != std::errc() || parsed.ptr != end) {
        return std::nullopt;
    }
    return ExpectedByte(value);
}

UdsStep readRequest(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"link", "send", "expect", "waitOutDelay"});
    UdsStep step;
    step.link = file.requiredText(node, "link");
    step.request = file.bytes(node, "send");
    (void)file.requiredText(node, "expect");
    auto expectation = parseExpectation(node.attribute("expect").value());
    if (!expectation) {
        file.failValue(
            node, "expect",
            L"bytes such as \"62 F1 90\", \"\?\?\" for any byte, \"*\" at the end for any rest, or "
            L"none");
    }
    step.expected = std::move(expectation->bytes);
    step.openEnd = expectation->openEnd;
    step.wantsNoAnswer = expectation->noAnswer;
    step.delayBound = std::chrono::seconds(file.number(node, "waitOutDelay", 1, maxWait / 1000, 0));
    return step;
}

WaitStep readWait(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"milliseconds"});
    return {std::chrono::milliseconds(file.number(node, "milliseconds", 0, maxWait))};
}

VerdictStep readVerdict(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"result", "text"});
    const auto result = file.requiredText(node, "result");
    if (result != L"passed" && result != L"failed") {
        file.failValue(node, "result", L"passed or failed");
    }
    return {result == L"passed", file.optionalText(node, "text")};
}

OtxStep readStep(const Xml::File& file, const pugi::xml_node& node) {
    const std::string_view kind = node.name();
    if (kind == "Request") {
        return readRequest(file, node);
    }
    if (kind == "Wait") {
        return readWait(file, node);
    }
    return readVerdict(file, node);
}

} // namespace

std::optional<Expectation> parseExpectation(std::string_view text) {
    Expectation expectation;
    if (withoutBlanks(text) == "none") {
        expectation.noAnswer = true;
        return expectation;
    }
    while (true) {
        text = withoutBlanksInFront(text);
        if (text.empty() || expectation.openEnd) {
            break;
        }
        if (text.front() == '*') {
            expectation.openEnd = true;
            text.remove_prefix(1);
            continue;
        }
        const auto byte = parseExpectedByte(text.substr(0, 2));
        if (!byte) {
            return std::nullopt;
        }
        expectation.bytes.push_back(*byte);
        text.remove_prefix(2);
    }
    return text.empty() ? std::optional(expectation) : std::nullopt;
}

OtxProcedure readProcedure(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"Request", "Wait", "Verdict"}, {"name"});
    OtxProcedure procedure;
    procedure.name = file.requiredText(node, "name");
    for (const auto step : node.children()) {
        if (step.type() == pugi::node_element) {
            procedure.steps.push_back(readStep(file, step));
        }
    }
    return procedure;
}

} // namespace Quarlen::Kel_cpp
