#include "kel_cpp/jobs/FaultRecordsReader.hpp"

#include <algorithm>
#include <utility>

#include "kel_cpp/jobs/KnownValues.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

namespace {

namespace ReportType = Uds::ReadDtcReportType;

/// 59 reportType, three bytes of code and one of status; then the records.
constexpr std::size_t recordsBegin = 6;

/// Whether the control unit does not have what was asked for, whichever fault it is about.
bool isMissing(const Uds::NegativeResponse& refusal) {
    return refusal.nrc() == static_cast<std::uint8_t>(Uds::Nrc::ServiceNotSupported) ||
           refusal.nrc() == static_cast<std::uint8_t>(Uds::Nrc::SubFunctionNotSupported) ||
           refusal.nrc() ==
               static_cast<std::uint8_t>(Uds::Nrc::SubFunctionNotSupportedInActiveSession);
}

/// Whether the control unit does not have this record.
bool isNoRecord(const Uds::NegativeResponse& refusal) {
    return refusal.nrc() == static_cast<std::uint8_t>(Uds::Nrc::RequestOutOfRange);
}

/// Adds a sentence.
void addText(DtcReading& fault, const std::wstring& text) {
    fault.recordsText.append(fault.recordsText.empty() ? L"" : L" ").append(text).append(L".");
}

/// The numbers of the two counters are the manufacturer's choice; these are the usual ones.
const std::vector<ExtendedDataItem>& usualRecords() {
    static const std::vector<ExtendedDataItem> records{
        {Uds::ExtendedDataRecord::occurrenceCounter, L"Occurrences", L""},
        {Uds::ExtendedDataRecord::ageingCounter, L"Ageing counter", L""}};
    return records;
}

std::wstring extendedText(const ExtendedDataItem& record, const Uds::Bytes& content) {
    return record.unit ? numberText(content, *record.unit) : Uds::hexText(content);
}

Uds::Bytes part(const Uds::Bytes& bytes, std::size_t begin, std::size_t end) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

} // namespace

Uds::Bytes FaultRecordsReader::ask(std::uint8_t reportType, const DtcReading& fault,
                                   std::uint8_t record) {
    Uds::Bytes request{static_cast<std::uint8_t>(Uds::Service::ReadDtcInformation), reportType};
    Uds::appendNumber(request, fault.code, 3);
    request.push_back(record);
    return questions.readDtcInformation(request, recordsBegin);
}

void FaultRecordsReader::readFreezeFrames(DtcReading& fault) {
    if (!hasFreezeFrames) {
        return addText(fault, L"Freeze frames are not supported");
    }
    try {
        takeFrames(fault, ask(ReportType::freezeFrameByDtc, fault, Uds::allRecords));
        if (fault.freezeFrames.empty()) {
            addText(fault, L"No freeze frame is stored");
        }
    } catch (const Uds::NegativeResponse& refusal) {
        hasFreezeFrames = !isMissing(refusal);
        addText(fault, !hasFreezeFrames      ? L"Freeze frames are not supported"
                       : isNoRecord(refusal) ? L"No freeze frame is stored"
                                             : L"Freeze frames: " + refusal.message());
    }
}

void FaultRecordsReader::readExtendedData(DtcReading& fault) {
    const auto& records = project.extendedData.empty() ? usualRecords() : project.extendedData;
    bool isTold = true;
    for (const auto& record : records) {
        isTold = (!hasExtendedData || readExtendedRecord(fault, record)) && isTold;
    }
    if (!fault.extendedData.empty()) {
        return;
    }
    if (!hasExtendedData) {
        addText(fault, L"Extended data is not supported");
    } else if (isTold) {
        addText(fault, L"No extended data is stored");
    }
}

/// False when the control unit refuses to say whether it has the record.
bool FaultRecordsReader::readExtendedRecord(DtcReading& fault, const ExtendedDataItem& record) {
    try {
        const Uds::Bytes response = ask(ReportType::extendedDataByDtc, fault, record.number);
        if (response.size() > recordsBegin + 1 && response[recordsBegin] == record.number) {
            const auto content = part(response, recordsBegin + 1, response.size());
            fault.extendedData.push_back(
                {record.number, record.name, extendedText(record, content)});
        }
    } catch (const Uds::NegativeResponse& refusal) {
        hasExtendedData = !isMissing(refusal);
        if (hasExtendedData && !isNoRecord(refusal)) {
            addText(fault, record.name + L": " + refusal.message());
            return false;
        }
    }
    return true;
}

void FaultRecordsReader::takeFrames(DtcReading& fault, const Uds::Bytes& response) const {
    // DTCSnapshotRecordNumber, number of identifiers, then each identifier and its value
    constexpr std::size_t headerSize = 2;
    std::size_t at = recordsBegin;
    while (at + headerSize <= response.size()) {
        FreezeFrame frame;
        frame.number = response[at];
        at = takeFrame(frame, response, at + 1);
        fault.freezeFrames.push_back(std::move(frame));
    }
}

/// Returns the place behind the frame. What cannot be taken apart ends it and the response.
std::size_t FaultRecordsReader::takeFrame(FreezeFrame& frame, const Uds::Bytes& response,
                                          std::size_t at) const {
    constexpr std::size_t idSize = 2;
    const std::size_t count = response[at++];
    while (frame.values.size() < count) {
        const bool hasId = at + idSize <= response.size();
        const auto id = static_cast<std::uint16_t>(hasId ? Uds::numberAt(response, at, idSize) : 0);
        const KnownValue* const known = hasId ? knownValue(id) : nullptr;
        if (known == nullptr || at + idSize + known->length > response.size()) {
            break;
        }
        at += idSize;
        const auto content = part(response, at, at + known->length);
        frame.values.push_back({id, nameOf(id), knownText(*known, content)});
        at += known->length;
    }
    // A count of 0 stands for an unknown number.
    if (count != 0 && frame.values.size() == count) {
        return at;
    }
    frame.unread = part(response, at, response.size());
    return response.size();
}

std::wstring FaultRecordsReader::nameOf(std::uint16_t dataIdentifier) const {
    const auto& items = project.identification;
    const auto named = std::find_if(items.begin(), items.end(), [&](const auto& item) {
        return item.dataIdentifier == dataIdentifier;
    });
    const KnownValue* const known = knownValue(dataIdentifier);
    return named != items.end() ? named->name : known != nullptr ? known->name : L"";
}

} // namespace Quarlen::Kel_cpp
