#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stop_token>

#include "platform/Clock.hpp"
#include "uds/Client.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// The data to write and its address.
struct FlashImage {
    const Uds::Bytes& content;
    std::uint32_t address = 0;
};

/// Hears how a download goes, on its thread.
struct FlashListener {
    /// Receives whole percents, each once and in rising order, and the bytes transferred so far;
    /// 100 only after the control unit has confirmed the checksum.
    std::function<void(std::uint16_t percent, std::size_t bytes)> onProgress;
    /// Receives how long the erase of a large memory has gone on: 0 at its begin, then at most once
    /// a second, when the control unit says that it is still at it.
    std::function<void(std::chrono::seconds)> onErasing;
};

/// One memory region of an unlocked control unit in its programming session, in the order of
/// ISO 14229-1:2020 clause 17: erase, download, check.
class FlashDownload {
public:
    /// All arguments must outlive the download.
    FlashDownload(Uds::VehicleLink& link, const FlashImage& image, const FlashListener& listener,
                  Platform::Clock& clock, const std::stop_token& cancel)
        : client(link, cancel), image(image), listener(listener), clock(clock), cancel(cancel) {}

    /// Throws `FlashError`, `Uds::LinkError`, `Uds::NegativeResponse`, `Uds::Cancelled`.
    void run();

private:
    void erase();
    /// Returns the maximum number of data bytes in one block.
    [[nodiscard]] std::size_t requestDownload();
    void transfer(std::size_t blockSize);
    void transferExit();
    void checkMemory();
    void transferred(std::size_t bytes);

    /// Appends the address-and-length format identifier (four bytes each), address and size.
    void appendRegion(Uds::Bytes& request) const;

    Uds::Client client;
    const FlashImage& image;
    const FlashListener& listener;
    Platform::Clock& clock;
    const std::stop_token& cancel;
    std::uint16_t reportedPercent = 0;
};

} // namespace Quarlen::Kel_cpp
