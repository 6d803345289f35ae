#include "tools/kelctl/dryrun/DerivedControlUnit.hpp"

#include <algorithm>
#include <system_error>

#include "platform/FileFacts.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/FlashServices.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Ctl {

namespace {

using Simulation::ControlUnitDescription;
using Simulation::DataIdentifierDescription;
using Simulation::FlashMemoryDescription;
using Uds::Service;

/// Service identifier and data identifier.
constexpr std::size_t identifierHeader = 3;
/// Service identifier, sub-function and routine identifier.
constexpr std::size_t routineHeader = 4;

bool isService(const Uds::Bytes& request, Service service) {
    return !request.empty() && request[0] == static_cast<std::uint8_t>(service);
}

bool isLockedInto(const ControlUnitDescription& unit, std::uint8_t level) {
    return std::any_of(unit.securityLevels.begin(), unit.securityLevels.end(),
                       [&](const auto& known) { return known.level == level; });
}

bool isFlashRequest(const Uds::Bytes& request) {
    if (isService(request, Service::RoutineControl) && request.size() >= routineHeader) {
        const auto routine = Uds::numberAt(request, 2, 2);
        return Simulation::FlashServices::owns(routine);
    }
    return isService(request, Service::RequestDownload) ||
           isService(request, Service::TransferData) ||
           isService(request, Service::RequestTransferExit);
}

bool isFaultMemoryReport(std::uint8_t reportType) {
    return reportType == Uds::ReadDtcReportType::numberOfDtcByStatusMask ||
           reportType == Uds::ReadDtcReportType::dtcByStatusMask ||
           reportType == Uds::ReadDtcReportType::supportedDtc;
}

/// The simulation answers by its state, and a fixed answer would get in its way.
bool isLeftToSimulation(const ControlUnitDescription& unit, const Uds::Bytes& request) {
    if (isFlashRequest(request)) {
        return !unit.flashMemories.empty();
    }
    if (request.size() < 2) {
        return false;
    }
    switch (static_cast<Service>(request[0])) {
    case Service::DiagnosticSessionControl:
    case Service::EcuReset:
    case Service::TesterPresent:
    case Service::ClearDiagnosticInformation:
        return true;
    case Service::ReadDtcInformation:
        return isFaultMemoryReport(request[1]);
    case Service::SecurityAccess:
        return isLockedInto(unit, request[1]);
    default:
        return false;
    }
}

/// A positive response that says no more than it has to.
Uds::Bytes plainAnswer(const Uds::Bytes& request) {
    Uds::Bytes answer{static_cast<std::uint8_t>(request[0] + Uds::positiveResponseOffset)};
    const bool hasIdentifier = isService(request, Service::ReadDataByIdentifier) ||
                               isService(request, Service::WriteDataByIdentifier) ||
                               isService(request, Service::InputOutputControlByIdentifier);
    const std::size_t echoed = hasIdentifier ? identifierHeader
                               : isService(request, Service::RoutineControl)
                                   ? routineHeader
                                   : 1 + std::size_t{Uds::hasSubFunction(request[0])};
    for (std::size_t at = 1; at < std::min(echoed, request.size()); ++at) {
        answer.push_back(request[at]);
    }
    return answer;
}

/// Each byte that may be any is taken from the plain answer where that reaches so far.
Uds::Bytes expectedAnswer(const Kel_cpp::UdsStep& step) {
    const Uds::Bytes plain = plainAnswer(step.request);
    if (step.expected.empty()) {
        return plain;
    }
    Uds::Bytes answer;
    for (std::size_t at = 0; at < step.expected.size(); ++at) {
        const std::uint8_t any = at < plain.size() ? plain[at] : std::uint8_t{0};
        answer.push_back(step.expected[at].value_or(any));
    }
    return answer;
}

bool isAnswered(const ControlUnitDescription& unit, const Uds::Bytes& request) {
    return std::any_of(unit.faults.begin(), unit.faults.end(),
                       [&](const auto& known) { return known.request == request; });
}

/// A fixed answer also holds for longer requests with the same begin, so longer ones come first.
void addFixedAnswer(ControlUnitDescription& unit, const Uds::Bytes& request, Uds::Bytes answer) {
    if (isAnswered(unit, request)) {
        return;
    }
    const auto place = std::find_if(unit.faults.begin(), unit.faults.end(), [&](const auto& known) {
        return known.request.size() < request.size();
    });
    Simulation::FaultDescription fixed;
    fixed.request = request;
    fixed.response = std::move(answer);
    unit.faults.insert(place, std::move(fixed));
}

DataIdentifierDescription* findIdentifier(ControlUnitDescription& unit, std::uint16_t id) {
    auto& known = unit.dataIdentifiers;
    const auto found =
        std::find_if(known.begin(), known.end(), [&](const auto& entry) { return entry.id == id; });
    return found == known.end() ? nullptr : &*found;
}

/// "SIM_F187" for an identifier of which nothing is known but its number.
Uds::Bytes anyValue(std::uint16_t id) {
    std::wstring text =
        Uds::hexText({static_cast<std::uint8_t>(id >> 8U), static_cast<std::uint8_t>(id & 0xFFU)});
    std::erase(text, L' ');
    const std::string value = "SIM_" + Platform::toUtf8(text);
    return {value.begin(), value.end()};
}

/// Whether a data identifier of the simulation gives this answer.
bool addReadAnswer(ControlUnitDescription& unit, const Kel_cpp::UdsStep& step,
                   const Uds::Bytes& answer) {
    const Uds::Bytes plain = plainAnswer(step.request);
    const bool fits = isService(step.request, Service::ReadDataByIdentifier) &&
                      step.request.size() == identifierHeader && answer.size() >= plain.size() &&
                      std::equal(plain.begin(), plain.end(), answer.begin());
    if (fits) {
        const auto id = static_cast<std::uint16_t>(Uds::numberAt(step.request, 1, 2));
        addIdentifier(unit, id, {answer.begin() + identifierHeader, answer.end()});
    }
    return fits;
}

/// Whether a writable data identifier of the simulation gives this answer.
bool addWriteAnswer(ControlUnitDescription& unit, const Kel_cpp::UdsStep& step,
                    const Uds::Bytes& answer) {
    if (!isService(step.request, Service::WriteDataByIdentifier) ||
        step.request.size() <= identifierHeader || answer != plainAnswer(step.request)) {
        return false;
    }
    const auto id = static_cast<std::uint16_t>(Uds::numberAt(step.request, 1, 2));
    const std::size_t size = step.request.size() - identifierHeader;
    addIdentifier(unit, id, Uds::Bytes(size, 0x00));
    DataIdentifierDescription& entry = *findIdentifier(unit, id);
    entry.writable = true;
    return entry.value.size() == size;
}

std::uint64_t sizeOf(const Kel_cpp::FlashSessionDescription& session,
                     const std::filesystem::path& flashData) {
    constexpr std::uint64_t unknownSize = std::uint64_t{1} << 20U;
    std::error_code failure;
    const std::uint64_t fileSize =
        Platform::fileFacts(flashData / Platform::toPath(session.file), failure).size;
    const std::uint64_t known = failure ? unknownSize : fileSize;
    return session.size.value_or(known);
}

/// Grows the memory that the region touches, and adds one where it touches none.
void addRegion(ControlUnitDescription& unit, FlashMemoryDescription region) {
    for (auto known = unit.flashMemories.begin(); known != unit.flashMemories.end();) {
        if (known->address <= region.end() && region.address <= known->end()) {
            const std::uint64_t end = std::max(known->end(), region.end());
            region.address = std::min(known->address, region.address);
            region.size = static_cast<std::uint32_t>(end - region.address);
            known = unit.flashMemories.erase(known);
        } else {
            ++known;
        }
    }
    unit.flashMemories.push_back(region);
}

} // namespace

void addIdentifier(ControlUnitDescription& unit, std::uint16_t id, Uds::Bytes value) {
    if (findIdentifier(unit, id) == nullptr) {
        DataIdentifierDescription& entry = unit.dataIdentifiers.emplace_back();
        entry.id = id;
        entry.value = value.empty() ? anyValue(id) : std::move(value);
    }
}

void addSecurityLevel(ControlUnitDescription& unit, std::uint8_t level, std::uint32_t keyMask) {
    if (!isLockedInto(unit, level)) {
        unit.securityLevels.push_back({level, keyMask});
    }
}

void addFlashMemory(ControlUnitDescription& unit, const Kel_cpp::FlashItem& item,
                    const std::filesystem::path& flashData) {
    constexpr std::uint64_t addressSpace = std::uint64_t{1} << 32U;
    constexpr std::uint64_t maxMemory = std::uint64_t{256} << 20U;
    for (const auto& session : item.sessions) {
        const std::uint64_t size =
            std::min({sizeOf(session, flashData), maxMemory, addressSpace - session.address - 1});
        FlashMemoryDescription region;
        region.address = session.address;
        region.size = static_cast<std::uint32_t>(size);
        region.securityLevel = item.securityLevel;
        addRegion(unit, region);
    }
}

void addFlashSteps(ControlUnitDescription& unit, const Kel_cpp::FlashItem& item) {
    for (const auto& step : item.steps) {
        const auto* const plain = std::get_if<Kel_cpp::FlashRequest>(&step);
        // The simulation takes one without an answer as it is.
        if (plain != nullptr && !Uds::suppressesPositiveResponse(plain->request)) {
            addAnswer(unit, {{}, plain->request, {}});
        }
        if (std::holds_alternative<Kel_cpp::FlashFingerprint>(step)) {
            Uds::Bytes write{static_cast<std::uint8_t>(Service::WriteDataByIdentifier)};
            Uds::appendNumber(write, Uds::Did::fingerprint, 2);
            addFixedAnswer(unit, write, plainAnswer(write));
        }
    }
}

void addAnswer(ControlUnitDescription& unit, const Kel_cpp::UdsStep& step) {
    if (step.request.empty() || isLeftToSimulation(unit, step.request)) {
        return;
    }
    if (step.wantsNoAnswer && Uds::suppressesPositiveResponse(step.request)) {
        addFixedAnswer(unit, step.request, {});
        return;
    }
    Uds::Bytes answer = expectedAnswer(step);
    if (!addReadAnswer(unit, step, answer) && !addWriteAnswer(unit, step, answer)) {
        addFixedAnswer(unit, step.request, std::move(answer));
    }
}

} // namespace Quarlen::Ctl
