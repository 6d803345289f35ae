#include "kel_cpp/jobs/FlashDownload.hpp"

#include <algorithm>

#include "kel_cpp/jobs/FlashFile.hpp"
#include "kel_cpp/jobs/FlashRequests.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using Uds::Bytes;
using Uds::Service;

/// Neither compressed nor encrypted.
constexpr std::uint8_t plainData = 0x00;
/// Service identifier and block counter stand before a block's bytes.
constexpr std::size_t blockHeader = 2;

} // namespace

void FlashDownload::run() {
    erase();
    transfer(requestDownload());
    transferExit();
    checkMemory();
    listener.onProgress(100, image.content.size());
}

/// As long as the control unit says that it is at work, so does the download.
void FlashDownload::erase() {
    using std::chrono::seconds;
    const auto begin = clock.now();
    seconds told{0};
    listener.onErasing(told);
    Uds::ExchangeManner manner;
    manner.onPending = [&] {
        const auto since = std::chrono::duration_cast<seconds>(clock.now() - begin);
        if (since > told) {
            told = since;
            listener.onErasing(told);
        }
    };
    Bytes request = routineRequest(Uds::Routine::eraseMemory);
    appendRegion(request);
    if (!routineSucceeded(client.request(request, manner), StatusByte::Optional)) {
        throw FlashError(L"the control unit could not erase its memory");
    }
}

std::size_t FlashDownload::requestDownload() {
    Bytes request = serviceRequest(Service::RequestDownload, {plainData});
    appendRegion(request);
    const Bytes response = client.request(request);
    // 74, length format (high half byte: size of the number), longest request
    const std::size_t lengthBytes = response.size() > 1 ? response[1] >> 4U : 0U;
    if (lengthBytes < 1 || lengthBytes > 8 || response.size() < 2 + lengthBytes) {
        throw FlashError(L"unusable response to the download request: " + Uds::hexText(response));
    }
    const std::uint64_t maxBlock = Uds::numberAt(response, 2, lengthBytes);
    if (maxBlock <= blockHeader) {
        throw FlashError(L"the control unit takes no data: its longest block has " +
                         std::to_wstring(maxBlock) + L" bytes");
    }
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(maxBlock - blockHeader, image.content.size()));
}

void FlashDownload::transfer(std::size_t blockSize) {
    std::uint8_t counter = 1;
    Bytes request;
    request.reserve(blockHeader + blockSize);
    for (std::size_t done = 0; done < image.content.size();
         counter = Uds::nextBlockCounter(counter)) {
        const std::size_t size = std::min(blockSize, image.content.size() - done);
        const auto from = image.content.begin() + static_cast<std::ptrdiff_t>(done);
        request.assign({static_cast<std::uint8_t>(Service::TransferData), counter});
        request.insert(request.end(), from, from + static_cast<std::ptrdiff_t>(size));
        client.request(request);
        done += size;
        transferred(done);
    }
}

void FlashDownload::transferExit() {
    client.request(serviceRequest(Service::RequestTransferExit));
}

void FlashDownload::checkMemory() {
    Bytes request = routineRequest(Uds::Routine::checkMemory);
    Uds::appendNumber(request, checksumOf(image.content, cancel), 4);
    if (!routineSucceeded(client.request(request), StatusByte::Required)) {
        throw FlashError(L"the control unit found a wrong checksum");
    }
}

void FlashDownload::transferred(std::size_t bytes) {
    constexpr std::uint64_t beforeCheck = 99;
    const auto percent = static_cast<std::uint16_t>(
        std::min(beforeCheck, std::uint64_t{bytes} * 100 / image.content.size()));
    if (percent > reportedPercent) {
        reportedPercent = percent;
        listener.onProgress(percent, bytes);
    }
}

void FlashDownload::appendRegion(Bytes& request) const {
    request.push_back(0x44);
    Uds::appendNumber(request, image.address, 4);
    Uds::appendNumber(request, image.content.size(), 4);
}

} // namespace Quarlen::Kel_cpp
