#include "simulation/FlashProgramming.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "uds/Crc32.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

constexpr std::string_view versionMark = "KELSWVER";
constexpr std::size_t maxVersionLength = 16;
/// Offset behind service identifier, sub-function and routine identifier.
constexpr std::size_t optionRecord = 4;

ServiceReply routineStarted(std::uint16_t routine) {
    auto response =
        positiveResponse(Uds::Service::RoutineControl, {Uds::RoutineControlType::startRoutine});
    Uds::appendNumber(response, routine, 2);
    return response;
}

Uds::Bytes hexDigits(std::uint32_t value) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    Uds::Bytes text;
    for (unsigned shift = 32; shift > 0; shift -= 4) {
        text.push_back(static_cast<std::uint8_t>(digits[(value >> (shift - 4)) & 0x0FU]));
    }
    return text;
}

} // namespace

FlashProgramming::FlashProgramming(const std::vector<FlashMemoryDescription>& descriptions)
    : memories(descriptions) {}

ServiceReply FlashProgramming::erase(const Uds::Bytes& request) {
    if (running) {
        return Uds::Nrc::ConditionsNotCorrect;
    }
    auto reply = routineStarted(Uds::Routine::eraseMemory);
    if (request.size() == optionRecord) {
        for (auto& memory : memories.all()) {
            memory.erase({memory.description.address, memory.description.size});
            reply.duration = std::max(reply.duration, memory.description.eraseDuration);
        }
    } else {
        const auto parsed = requestedRegion(request, optionRecord);
        auto* const memory = memories.find(parsed.region);
        if (parsed.refusal || memory == nullptr) {
            return parsed.refusal.value_or(Uds::Nrc::RequestOutOfRange);
        }
        memory->erase(parsed.region);
        reply.duration = memory->description.eraseDuration;
    }
    completed.reset();
    reply.response.push_back(0x00);
    return reply;
}

ServiceReply FlashProgramming::check(const Uds::Bytes& request) {
    constexpr std::size_t checksumLength = 4;
    if (request.size() != optionRecord + checksumLength) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (!completed) {
        return Uds::Nrc::RequestSequenceError;
    }
    const auto size = static_cast<std::size_t>(completed->region.size);
    const auto checksum = Uds::crc32(completed->memory->at(completed->region), size);
    const bool matches = checksum == Uds::numberAt(request, optionRecord, checksumLength);
    if (matches) {
        readSoftwareVersion(checksum);
    }
    auto reply = routineStarted(Uds::Routine::checkMemory);
    reply.response.push_back(matches ? 0x00 : 0x01);
    return reply;
}

ServiceReply FlashProgramming::readMemory(const Uds::Bytes& request) {
    if (request.size() < 2) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto parsed = requestedRegion(request, 1);
    if (parsed.refusal || memories.find(parsed.region) == nullptr) {
        return parsed.refusal.value_or(Uds::Nrc::RequestOutOfRange);
    }
    if (parsed.region.size >= maxResponseLength) {
        return Uds::Nrc::ResponseTooLong;
    }
    auto response = positiveResponse(Uds::Service::ReadMemoryByAddress);
    const auto content = memories.content(parsed.region);
    response.insert(response.end(), content.begin(), content.end());
    return response;
}

ServiceReply FlashProgramming::requestDownload(const Uds::Bytes& request) {
    constexpr std::size_t formatIdentifiers = 2;
    if (request.size() < 1 + formatIdentifiers) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto parsed = requestedRegion(request, formatIdentifiers);
    const bool plainData = request[1] == 0x00;
    auto* const memory = memories.find(parsed.region);
    if (parsed.refusal || !plainData || memory == nullptr) {
        return parsed.refusal.value_or(Uds::Nrc::RequestOutOfRange);
    }
    if (running) {
        return Uds::Nrc::ConditionsNotCorrect;
    }
    if (!memory->isBlank(parsed.region)) {
        return Uds::Nrc::UploadDownloadNotAccepted;
    }
    running = Download{memory, parsed.region};
    completed.reset();
    const auto blockLength = memory->description.blockLength;
    const std::size_t lengthBytes = blockLength > 0xFFFF ? 4 : 2;
    auto response = positiveResponse(Uds::Service::RequestDownload,
                                     {static_cast<std::uint8_t>(lengthBytes << 4U)});
    Uds::appendNumber(response, blockLength, lengthBytes);
    return response;
}

ServiceReply FlashProgramming::transferData(const Uds::Bytes& request) {
    constexpr std::size_t header = 2;
    if (!running) {
        return Uds::Nrc::RequestSequenceError;
    }
    if (request.size() <= header || request.size() > running->memory->description.blockLength) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto counter = request[1];
    const auto lastCounter = static_cast<std::uint8_t>(running->expectedCounter - 1);
    const bool repeated = running->written > 0 && counter == lastCounter;
    if (!repeated && counter != running->expectedCounter) {
        return Uds::Nrc::WrongBlockSequenceCounter;
    }
    const auto length = request.size() - header;
    if (!repeated && length > running->region.size - running->written) {
        return Uds::Nrc::TransferDataSuspended;
    }
    if (!repeated) {
        std::copy(request.begin() + header, request.end(),
                  running->memory->at(running->region) + running->written);
        running->written += length;
        running->expectedCounter = Uds::nextBlockCounter(running->expectedCounter);
    }
    return positiveResponse(Uds::Service::TransferData, {counter});
}

ServiceReply FlashProgramming::transferExit(const Uds::Bytes& request) {
    if (request.size() != 1) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    if (!running || running->written < running->region.size) {
        return Uds::Nrc::RequestSequenceError;
    }
    completed = std::exchange(running, std::nullopt);
    return positiveResponse(Uds::Service::RequestTransferExit);
}

void FlashProgramming::abort() {
    running.reset();
    completed.reset();
}

std::optional<Uds::Bytes> FlashProgramming::takeNewSoftwareVersion() {
    return std::exchange(newSoftwareVersion, std::nullopt);
}

void FlashProgramming::readSoftwareVersion(std::uint32_t checksum) {
    const auto* const image = completed->memory->at(completed->region);
    const auto size = static_cast<std::size_t>(completed->region.size);
    Uds::Bytes version;
    if (size > versionMark.size() && std::equal(versionMark.begin(), versionMark.end(), image)) {
        const auto* const text = image + versionMark.size();
        const auto* const end = text + std::min(size - versionMark.size(), maxVersionLength);
        version.assign(text, std::find(text, end, std::uint8_t{0}));
    }
    newSoftwareVersion = version.empty() ? hexDigits(checksum) : std::move(version);
}

} // namespace Quarlen::Simulation
