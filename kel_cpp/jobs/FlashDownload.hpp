#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "kel_cpp/uds/UdsClient.hpp"

namespace Quarlen::Kel_cpp {

/// What is written where, and how the control unit is unlocked for it.
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
    /// Gets whole percents, each once and in rising order; 100 only after the control unit has
    /// confirmed the checksum.
    using OnProgress = std::function<void(std::uint16_t)>;

    /// All that is handed in must outlive the download.
    FlashDownload(Uds::UdsClient& client, const FlashImage& image, const OnProgress& onProgress)
        : client(client), image(image), onProgress(onProgress) {}

    /// Throws `FlashError`, `LinkError`, `Uds::NegativeResponse`, `Uds::Cancelled`.
    void run();

private:
    void enterProgrammingSession();
    void erase();
    /// The most bytes that one block may carry.
    [[nodiscard]] std::size_t requestDownload();
    void transfer(std::size_t blockSize);
    void transferExit();
    void checkMemory();
    void transferred(std::size_t bytes);

    /// Address-and-length format identifier with four bytes each, address, size.
    void appendRegion(Uds::Bytes& request) const;

    Uds::UdsClient& client;
    const FlashImage& image;
    const OnProgress& onProgress;
    std::uint16_t reportedPercent = 0;
};

} // namespace Quarlen::Kel_cpp
