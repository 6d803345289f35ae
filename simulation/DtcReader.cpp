#include "simulation/DtcReader.hpp"

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include "platform/TextEncoding.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

/// The standard keeps 0 and the numbers from 240 (0xF0) for itself.
constexpr std::uint8_t maxRecordNumber = 239;
/// One byte of the response counts the values of a freeze frame.
constexpr std::size_t maxFrameData = 255;
/// With this limit a response that has all records of a DTC fits into one ISO-TP message.
constexpr std::size_t maxRecordsLength = 4000;

template <typename Number>
Number number(const Xml::File& file, const pugi::xml_node& node, const char* attribute) {
    return static_cast<Number>(file.number(node, attribute, 0, std::numeric_limits<Number>::max()));
}

/// The records of one kind that one DTC has.
class RecordReader {
public:
    explicit RecordReader(const Xml::File& file) : file(file) {}

    std::uint8_t number(const pugi::xml_node& node) {
        const auto value =
            static_cast<std::uint8_t>(file.number(node, "record", 1, maxRecordNumber));
        claim(value, node, "record");
        return value;
    }

    void claim(std::uint8_t number, const pugi::xml_node& node, const char* attribute) {
        if (!taken.insert(number).second) {
            file.failAttribute(node, attribute,
                               L"the DTC has a record " + std::to_wstring(number) +
                                   L" already, expected each only once");
        }
    }

    void addLength(std::size_t bytes, const pugi::xml_node& node) {
        length += bytes;
        if (length > maxRecordsLength) {
            file.fail(node, L"the records of the DTC are too long, expected at most 4000 bytes of "
                            L"each kind");
        }
    }

private:
    const Xml::File& file;
    std::set<std::uint8_t> taken;
    std::size_t length = 0;
};

Uds::Bytes readValue(const Xml::File& file, const pugi::xml_node& node) {
    const bool hasText = node.attribute("text");
    const bool hasBytes = node.attribute("bytes");
    if (hasText == hasBytes) {
        file.fail(node, L"a value of a freeze frame comes from one of the attributes, expected "
                        L"\"text\" or \"bytes\"");
    }
    if (!hasText) {
        return file.bytes(node, "bytes");
    }
    const auto text = Platform::toUtf8(file.requiredText(node, "text"));
    return {text.begin(), text.end()};
}

FreezeFrameDescription readFreezeFrame(const Xml::File& file, const pugi::xml_node& node,
                                       RecordReader& records) {
    constexpr std::size_t header = 2;
    file.allowOnly(node, {"Data"}, {"record"});
    FreezeFrameDescription frame{records.number(node), {}};
    records.addLength(header, node);
    for (const auto& child : node.children("Data")) {
        file.allowNoContent(child, {"id", "text", "bytes"});
        frame.data.push_back({number<std::uint16_t>(file, child, "id"), readValue(file, child)});
        records.addLength(header + frame.data.back().value.size(), child);
    }
    if (frame.data.empty() || frame.data.size() > maxFrameData) {
        file.fail(node, L"a FreezeFrame has 1 to 255 values, expected so many Data elements");
    }
    return frame;
}

void readFreezeFrames(const Xml::File& file, const pugi::xml_node& node, DtcDescription& dtc) {
    RecordReader records(file);
    for (const auto& child : node.children("FreezeFrame")) {
        dtc.freezeFrames.push_back(readFreezeFrame(file, child, records));
    }
}

void readCounter(const Xml::File& file, const pugi::xml_node& node, const char* attribute,
                 std::uint8_t record, DtcDescription& dtc) {
    if (node.attribute(attribute)) {
        dtc.extendedData.push_back({record, {number<std::uint8_t>(file, node, attribute)}});
    }
}

void readExtendedData(const Xml::File& file, const pugi::xml_node& node, DtcDescription& dtc) {
    readCounter(file, node, "occurrences", Uds::ExtendedDataRecord::occurrenceCounter, dtc);
    readCounter(file, node, "ageing", Uds::ExtendedDataRecord::ageingCounter, dtc);
    RecordReader records(file);
    for (const auto& counter : dtc.extendedData) {
        records.claim(counter.number, node, "code");
    }
    for (const auto& child : node.children("ExtendedData")) {
        file.allowNoContent(child, {"record", "bytes"});
        const auto number = records.number(child);
        dtc.extendedData.push_back({number, file.bytes(child, "bytes")});
        records.addLength(1 + dtc.extendedData.back().value.size(), child);
    }
}

} // namespace

DtcDescription readDtc(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"FreezeFrame", "ExtendedData"},
                   {"code", "status", "occurrences", "ageing"});
    DtcDescription dtc;
    dtc.code = static_cast<std::uint32_t>(file.hexNumber(node, "code", Uds::dtcDigits));
    if (dtc.code == 0 || dtc.code == Uds::allDtcs) {
        file.failValue(node, "code", L"0x000001 to 0xFFFFFE");
    }
    dtc.status = number<std::uint8_t>(file, node, "status");
    readFreezeFrames(file, node, dtc);
    readExtendedData(file, node, dtc);
    return dtc;
}

} // namespace Quarlen::Simulation
