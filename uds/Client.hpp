#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "platform/Clock.hpp"
#include "uds/Uds.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Uds {

/// The control unit sent a negative response (0x7F).
class NegativeResponse : public std::runtime_error {
public:
    NegativeResponse(std::uint8_t service, std::uint8_t code);
    [[nodiscard]] std::uint8_t service() const noexcept { return serviceId; }
    [[nodiscard]] std::uint8_t nrc() const noexcept { return code; }
    /// "ReadDataByIdentifier (0x22) refused: requestOutOfRange (0x31)"
    [[nodiscard]] std::wstring message() const;

private:
    std::uint8_t serviceId;
    std::uint8_t code;
};

/// The control unit sent no response or one that does not fit the request, although the interface
/// works.
class NoUsableResponse : public LinkError {
public:
    using LinkError::LinkError;
};

/// The job that the exchange belongs to was cancelled.
class Cancelled : public std::exception {};

/// Client timing of ISO 14229-2: P2 until the first answer, P2* after each response pending. The
/// total bounds one exchange, however often the control unit asks for more time.
struct Timing {
    std::chrono::milliseconds p2{1000};
    std::chrono::milliseconds p2Star{5000};
    std::chrono::milliseconds total{60000};
};

/// The UDS client of one link: sends a request and waits for its final response. It waits out
/// response pending (NRC 0x78), repeats a request up to three times for a busy control unit (NRC
/// 0x21) and drops responses to other requests; a cancel ends the wait within 20 ms. The caller
/// owns the link and the clock, makes one client for each link and uses it from one thread at a
/// time. No thread is started here: each wait runs on the thread of the caller.
class Client {
public:
    /// `link` and `clock` must outlive the client.
    Client(VehicleLink& link, std::stop_token cancel, Platform::Clock& clock, Timing timing = {});

    /// Returns the final response, positive or negative. Empty when the request suppresses its
    /// positive response and no response came within P2. Throws `LinkError` when the link failed or
    /// the request is empty, `NoUsableResponse` when no response came in time; `Cancelled`.
    Bytes exchange(const Bytes& request);

    /// The final positive response. Throws as `exchange` and `NegativeResponse`.
    Bytes request(const Bytes& request);

    /// SecurityAccess: seed and key of an odd level. An all-zero seed means already unlocked.
    void unlock(std::uint8_t level, std::uint32_t keyMask);

    /// Reads a data identifier and returns its data without the three header bytes of the response.
    Bytes readData(std::uint16_t dataIdentifier);

private:
    void sendFresh(const Bytes& request);
    Bytes finalResponse(const Bytes& request, Platform::Clock::TimePoint limit);
    std::optional<Bytes> nextResponse(std::uint8_t service, Platform::Clock::TimePoint deadline);
    void throwIfCancelled() const;

    VehicleLink& link;
    std::stop_token cancel;
    Platform::Clock& clock;
    Timing timing;
    /// True when the final response of the last exchange is missing and may still arrive.
    bool lateResponsePossible = false;
};

} // namespace Quarlen::Uds
