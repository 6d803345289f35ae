#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stop_token>

#include "uds/Client.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// The data to write, its address, and the parameters that unlock the control unit.
struct FlashImage {
    const Uds::Bytes& content;
    std::uint32_t address = 0;
    std::uint8_t securityLevel = 1;
    std::uint32_t keyMask = 0;
};

/// One reprogramming of one memory region, in the order of ISO 14229-1 annex G: programming
/// session, security access, erase, download, check.
class FlashDownload {
public:
    /// Receives whole percents, each once and in rising order, and the bytes transferred so far;
    /// 100 only after the control unit has confirmed the checksum.
    using OnProgress = std::function<void(std::uint16_t percent, std::size_t bytes)>;

    /// All arguments must outlive the download.
    FlashDownload(Uds::VehicleLink& link, const FlashImage& image, const OnProgress& onProgress,
                  const std::stop_token& cancel)
        : client(link, cancel), image(image), onProgress(onProgress), cancel(cancel) {}

    /// Throws `FlashError`, `Uds::LinkError`, `Uds::NegativeResponse`, `Uds::Cancelled`.
    void run();

private:
    void enterProgrammingSession();
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
    const OnProgress& onProgress;
    const std::stop_token& cancel;
    std::uint16_t reportedPercent = 0;
};

} // namespace Quarlen::Kel_cpp
