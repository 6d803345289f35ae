#include "kel_cpp/projects/FlashItemReader.hpp"

#include <algorithm>
#include <string_view>

#include "kel_cpp/projects/SecurityValues.hpp"
#include "kel_cpp/projects/Uniqueness.hpp"

namespace Quarlen::Kel_cpp {

namespace {

/// Long enough for any control unit, short enough that a typing error does not stop a line.
constexpr std::uint64_t maxBootTime = std::uint64_t{5} * 60 * 1000;

FlashRequest readFlashRequest(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"send"});
    return {file.bytes(node, "send")};
}

FlashFingerprint readFingerprint(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"tester"});
    return {file.bytes(node, "tester")};
}

FlashReset readReset(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"bootMilliseconds"});
    const FlashReset usual;
    const auto usualTime = static_cast<std::uint64_t>(usual.bootTime.count());
    return {std::chrono::milliseconds(
        file.number(node, "bootMilliseconds", 0, maxBootTime, usualTime))};
}

FlashStep readStepWithoutValue(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {});
    const std::string_view kind = node.name();
    if (kind == "Unlock") {
        return FlashUnlock{};
    }
    if (kind == "Sessions") {
        return FlashMemories{};
    }
    return FlashDependencies{};
}

FlashStep readFlashStep(const Xml::File& file, const pugi::xml_node& node) {
    const std::string_view kind = node.name();
    if (kind == "Request") {
        return readFlashRequest(file, node);
    }
    if (kind == "Fingerprint") {
        return readFingerprint(file, node);
    }
    if (kind == "Reset") {
        return readReset(file, node);
    }
    return readStepWithoutValue(file, node);
}

/// Empty when the flash item gives none.
std::vector<FlashStep> readSteps(const Xml::File& file, const pugi::xml_node& item) {
    std::vector<FlashStep> steps;
    const auto sequence = file.singleChild(item, "Sequence");
    if (!sequence) {
        return steps;
    }
    file.allowOnly(sequence,
                   {"Request", "Unlock", "Fingerprint", "Sessions", "CheckDependencies", "Reset"},
                   {});
    for (const auto step : sequence.children()) {
        if (step.type() == pugi::node_element) {
            steps.push_back(readFlashStep(file, step));
        }
    }
    const auto flashes = std::count_if(steps.begin(), steps.end(), [](const FlashStep& step) {
        return std::holds_alternative<FlashMemories>(step);
    });
    if (flashes != 1) {
        file.fail(sequence, L"\"Sequence\" needs exactly one \"Sessions\"");
    }
    return steps;
}

FlashSessionDescription readSession(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"name", "file", "address", "size", "checksum", "unchecked"});
    FlashSessionDescription session{file.requiredText(node, "name"),
                                    file.requiredText(node, "file"),
                                    readWord(file, node, "address")};
    if (node.attribute("size")) {
        session.size = file.number(node, "size", 1, std::numeric_limits<std::uint32_t>::max());
    }
    if (node.attribute("checksum")) {
        session.checksum = readWord(file, node, "checksum");
    }
    session.unchecked = file.flag(node, "unchecked", false);
    if (session.file.find_first_of(L"/\\:") != std::wstring::npos || session.file == L"." ||
        session.file == L"..") {
        file.failValue(node, "file", L"the name of a file in the folder flashdata");
    }
    return session;
}

} // namespace

FlashItem readFlashItem(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"Sequence", "Session"},
                   {"name", "target", "description", "securityLevel", "keyMask"});
    FlashItem item;
    item.name = file.requiredText(node, "name");
    item.target = file.requiredText(node, "target");
    item.description = file.optionalText(node, "description");
    item.securityLevel = readSecurityLevel(file, node, "securityLevel");
    item.keyMask = readWord(file, node, "keyMask");
    item.steps = readSteps(file, node);
    item.sessions = readNamed<FlashSessionDescription>(file, node, "Session", readSession);
    return item;
}

} // namespace Quarlen::Kel_cpp
