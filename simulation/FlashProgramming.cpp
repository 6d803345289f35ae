#include "simulation/FlashProgramming.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "uds/Crc32.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation {

namespace {

constexpr std::uint8_t erasedByte = 0xFF;
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

struct FlashProgramming::ParsedRegion {
    Region region;
    std::optional<Uds::Nrc> refusal;
};

FlashProgramming::FlashProgramming(const std::vector<FlashMemoryDescription>& descriptions) {
    for (const auto& description : descriptions) {
        memories.push_back({description, {}});
    }
}

std::uint8_t FlashProgramming::securityLevel() const noexcept {
    return memories.empty() ? std::uint8_t{0} : memories.front().description.securityLevel;
}

ServiceReply FlashProgramming::erase(const Uds::Bytes& request) {
    if (running) {
        return Uds::Nrc::ConditionsNotCorrect;
    }
    auto reply = routineStarted(Uds::Routine::eraseMemory);
    if (request.size() == optionRecord) {
        for (auto& memory : memories) {
            wipe(memory, {memory.description.address, memory.description.size});
            reply.duration = std::max(reply.duration, memory.description.eraseDuration);
        }
    } else {
        const auto parsed = parseRegion(request, optionRecord);
        auto* const memory = findMemory(parsed.region);
        if (parsed.refusal || memory == nullptr) {
            return parsed.refusal.value_or(Uds::Nrc::RequestOutOfRange);
        }
        wipe(*memory, parsed.region);
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
    const auto checksum = Uds::crc32(start(*completed), size);
    const bool matches = checksum == Uds::numberAt(request, optionRecord, checksumLength);
    if (matches) {
        readSoftwareVersion(checksum);
    }
    auto reply = routineStarted(Uds::Routine::checkMemory);
    reply.response.push_back(matches ? 0x00 : 0x01);
    return reply;
}

ServiceReply FlashProgramming::requestDownload(const Uds::Bytes& request) {
    constexpr std::size_t formatIdentifiers = 2;
    if (request.size() < 1 + formatIdentifiers) {
        return Uds::Nrc::IncorrectMessageLengthOrInvalidFormat;
    }
    const auto parsed = parseRegion(request, formatIdentifiers);
    const bool plainData = request[1] == 0x00;
    auto* const memory = findMemory(parsed.region);
    if (parsed.refusal || !plainData || memory == nullptr) {
        return parsed.refusal.value_or(Uds::Nrc::RequestOutOfRange);
    }
    if (running) {
        return Uds::Nrc::ConditionsNotCorrect;
    }
    if (!isBlank(*memory, parsed.region)) {
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
        std::copy(request.begin() + header, request.end(), start(*running) + running->written);
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

Uds::Bytes FlashProgramming::content(std::uint32_t address, std::uint32_t size) const {
    for (const auto& memory : memories) {
        const auto& description = memory.description;
        if (address < description.address || std::uint64_t{address} + size > description.end()) {
            continue;
        }
        if (memory.bytes.empty()) {
            return Uds::Bytes(size, 0x00);
        }
        const auto begin = memory.bytes.begin() + (address - description.address);
        return {begin, begin + size};
    }
    return {};
}

/// Address-and-length format identifier (clause 14.2.2.2): the high half byte counts the bytes of
/// the size, the low one those of the address.
FlashProgramming::ParsedRegion FlashProgramming::parseRegion(const Uds::Bytes& request,
                                                             std::size_t offset) {
    constexpr std::size_t maxBytes = 4;
    const std::size_t sizeBytes = request[offset] >> 4U;
    const std::size_t addressBytes = request[offset] & 0x0FU;
    const auto usable = [](std::size_t bytes) { return bytes >= 1 && bytes <= maxBytes; };
    if (!usable(sizeBytes) || !usable(addressBytes)) {
        return {{}, Uds::Nrc::RequestOutOfRange};
    }
    if (request.size() != offset + 1 + addressBytes + sizeBytes) {
        return {{}, Uds::Nrc::IncorrectMessageLengthOrInvalidFormat};
    }
    return {{Uds::numberAt(request, offset + 1, addressBytes),
             Uds::numberAt(request, offset + 1 + addressBytes, sizeBytes)},
            std::nullopt};
}

FlashProgramming::Memory* FlashProgramming::findMemory(const Region& region) {
    const auto found = std::find_if(memories.begin(), memories.end(), [&](const Memory& memory) {
        return region.size > 0 && region.address >= memory.description.address &&
               region.address + region.size <= memory.description.end();
    });
    return found == memories.end() ? nullptr : &*found;
}

std::uint8_t* FlashProgramming::start(const Download& download) {
    return download.memory->bytes.data() +
           (download.region.address - download.memory->description.address);
}

void FlashProgramming::wipe(Memory& memory, const Region& region) {
    memory.bytes.resize(memory.description.size, 0x00);
    std::fill_n(start({&memory, region}), region.size, erasedByte);
}

bool FlashProgramming::isBlank(const Memory& memory, const Region& region) {
    if (memory.bytes.empty()) {
        return false;
    }
    const auto* const first = memory.bytes.data() + (region.address - memory.description.address);
    return std::all_of(first, first + region.size,
                       [](std::uint8_t byte) { return byte == erasedByte; });
}

void FlashProgramming::readSoftwareVersion(std::uint32_t checksum) {
    const auto* const image = start(*completed);
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
