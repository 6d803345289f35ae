#include "kel_cpp/report/FaultTable.hpp"

#include "kel_cpp/report/ControlUnitSection.hpp"
#include "kel_cpp/report/ReportTexts.hpp"

namespace Quarlen::Kel_cpp {

namespace {

void writeTableHead(HtmlWriter& html) {
    const auto head = html.open("thead");
    const auto row = html.open("tr");
    for (const std::string_view column : {"Code", "Fault", "Status"}) {
        html.element("th", "", column);
    }
}

void writeCodeCell(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                   const DtcReading& dtc) {
    const auto cell = html.open("td", "code");
    const std::string notation = dtcNotation(dtc.code, unit.dtcFormat);
    const std::string number = hexadecimal(dtc.code & 0xFFFFFFU, 6);
    html.element("strong", "", notation);
    if (notation != number) {
        html.markup(" ");
        const auto second = html.open("span");
        html.element("code", "", number);
    }
}

void writeTextCell(HtmlWriter& html, const DtcReading& dtc) {
    if (dtc.text.empty()) {
        html.element("td", "soft", "No text for this code");
    } else {
        html.element("td", "", dtc.text);
    }
}

struct BitWords {
    std::string_view cssClass;
    std::string_view spoken;
};

BitWords bitWords(const DtcStatusBit& bit, std::uint8_t status, std::uint8_t available) {
    if ((available & bit.mask) == 0) {
        return {"absent", " not supported"};
    }
    if ((status & bit.mask) == 0) {
        return {"unset", " not set"};
    }
    return {bit.fault ? "set fault" : "set", " set"};
}

void writeStatusCell(HtmlWriter& html, std::uint8_t status, std::uint8_t available) {
    const auto cell = html.open("td", "status");
    html.element("code", "", hexadecimal(status, 2));
    const auto bits = html.open("ul", "bits");
    for (const DtcStatusBit& bit : dtcStatusBits) {
        const BitWords words = bitWords(bit, status, available);
        const auto chip =
            html.openWith("li", "class=\"" + std::string(words.cssClass) + "\" title=\"" +
                                    std::string(bit.scriptName) + "\"");
        html.text(bit.words);
        html.element("span", "unseen", words.spoken);
    }
}

template <class Name, class Value>
void writeRecordValue(HtmlWriter& html, const Name& name, const Value& value) {
    const auto item = html.open("li");
    html.element("span", "soft", name);
    html.markup(" ");
    html.text(value);
}

void writeFreezeFrame(HtmlWriter& html, const FreezeFrame& frame) {
    html.element("h4", "", "Freeze frame " + std::to_string(frame.number));
    const auto list = html.open("ul", "values");
    for (const IdentificationValue& value : frame.values) {
        writeRecordValue(html, value.name, value.value);
    }
    if (!frame.unread.empty()) {
        writeRecordValue(html, "Bytes of identifiers that are not known here",
                         spacedHexadecimal(frame.unread));
    }
}

void writeExtendedData(HtmlWriter& html, const DtcReading& fault) {
    html.element("h4", "", "Extended data");
    const auto list = html.open("ul", "values");
    for (const ExtendedRecord& record : fault.extendedData) {
        writeRecordValue(html, record.name, record.value);
    }
}

void writeRecords(HtmlWriter& html, const DtcReading& fault) {
    if (fault.freezeFrames.empty() && fault.extendedData.empty() && fault.recordsText.empty()) {
        return;
    }
    const auto row = html.open("tr", "records");
    html.element("td", "", "");
    const auto cell = html.openWith("td", "colspan=\"2\"");
    for (const FreezeFrame& frame : fault.freezeFrames) {
        writeFreezeFrame(html, frame);
    }
    if (!fault.extendedData.empty()) {
        writeExtendedData(html, fault);
    }
    if (!fault.recordsText.empty()) {
        html.element("p", "soft", fault.recordsText);
    }
}

void writeRemark(HtmlWriter& html, std::string_view remark) {
    if (!remark.empty()) {
        html.element("p", "soft", remark);
    }
}

/// The control unit's own count may differ from the length of its list.
void writeCountNotice(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    if (unit.faultCount != 0 && unit.faultCount != unit.faults.size()) {
        html.element("p", "notice",
                     "The control unit counts " + counted(unit.faultCount, "fault") +
                         ", but its list holds " + std::to_string(unit.faults.size()) + ".");
    }
}

void writeStatusNotice(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                       std::uint8_t askedStatus) {
    const unsigned missing = askedStatus & ~unsigned{unit.statusAvailability};
    if (missing != 0) {
        html.element("p", "notice",
                     "The control unit does not support this status that was asked for: " +
                         dtcStatusMaskText(missing) + ".");
    }
}

void writeFaultTable(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    const auto wide = html.open("div", "wide");
    const auto table = html.open("table", "faults");
    writeTableHead(html);
    const auto body = html.open("tbody");
    for (const DtcReading& fault : unit.faults) {
        {
            const auto row = html.open("tr");
            writeCodeCell(html, unit, fault);
            writeTextCell(html, fault);
            writeStatusCell(html, fault.status, unit.statusAvailability);
        }
        writeRecords(html, fault);
    }
}

void writeSupportedRow(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                       const DtcReading& dtc) {
    const auto row = html.open("tr");
    writeCodeCell(html, unit, dtc);
    writeTextCell(html, dtc);
    const auto cell = html.open("td", "did");
    html.element("code", "", hexadecimal(dtc.status, 2));
}

} // namespace

void writeFaults(HtmlWriter& html, const ControlUnitQuickTestResult& unit,
                 std::uint8_t askedStatus) {
    html.element("h3", "", "Faults");
    if (!unit.faultsAskedFor || askedStatus == 0) {
        html.element("p", "soft", "Not asked for: the script names no status.");
        return;
    }
    writeStatusNotice(html, unit, askedStatus);
    writeCountNotice(html, unit);
    if (!unit.faults.empty()) {
        writeRemark(html, dtcFormatRemark(unit.dtcFormat));
        writeRemark(html, unit.statusAvailability == 0xFF
                              ? ""
                              : "Struck through: what the control unit does not support.");
        writeFaultTable(html, unit);
    } else if (unit.faultCount == 0 && (askedStatus & unit.statusAvailability) != 0) {
        html.element("p", "none", "No faults with the requested status.");
    }
}

void writeSupported(HtmlWriter& html, const ControlUnitQuickTestResult& unit) {
    if (unit.supported.empty()) {
        html.element("h3", "", "Supported fault codes");
        html.element("p", "soft", "The control unit lists no supported fault codes.");
        return;
    }
    const auto fold = html.open("details");
    html.element("summary", "", counted(unit.supported.size(), "supported fault code"));
    writeRemark(html, unit.faults.empty() ? dtcFormatRemark(unit.dtcFormat) : std::string());
    const auto wide = html.open("div", "wide");
    const auto table = html.open("table", "supported");
    writeTableHead(html);
    const auto body = html.open("tbody");
    for (const DtcReading& dtc : unit.supported) {
        writeSupportedRow(html, unit, dtc);
    }
}

} // namespace Quarlen::Kel_cpp
