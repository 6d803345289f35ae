#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>

#include "std_util/RotatingFile.hpp"
#include "uds/BusEvent.hpp"

namespace Quarlen::Kel_cpp {

/// The messages between tester and control units as a file of packets (pcapng, IETF
/// draft-ietf-opsawg-pcapng) that Wireshark opens: each message is a diagnostic message of
/// ISO 13400-2 (table 21), whatever way it took, so that both addresses are seen. Safe from any
/// thread.
class BusCapture {
public:
    using Now = std::function<std::chrono::system_clock::time_point()>;

    /// Goes on behind what is in the file `bus.pcapng` of the folder; a full one becomes
    /// `bus.1.pcapng`. Throws `std::system_error`.
    explicit BusCapture(const std::filesystem::path& folder,
                        Now now = std::chrono::system_clock::now);

    /// A file that cannot be written any more ends the capture, with a trace.
    void take(const Uds::BusEvent& event);

private:
    [[nodiscard]] std::string packetOf(const Uds::BusEvent& event) const;

    const Now now;
    std::mutex mutex;
    bool failed = false;
    StdUtil::RotatingFile file;
};

} // namespace Quarlen::Kel_cpp
