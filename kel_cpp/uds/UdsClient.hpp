#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "kel_cpp/uds/Uds.hpp"
#include "kel_cpp/vehicle/VehicleLink.hpp"
#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp::Uds {

/// The control unit answered 0x7F.
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

/// The control unit stayed silent, or answered something that is no answer to the request. The
/// interface has done its work.
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

/// Request and response over one link. Response pending (NRC 0x78) is waited out, a busy control
/// unit (NRC 0x21) is asked again up to three times, responses to other requests are dropped, a
/// cancel ends the wait within 20 ms. Used by one thread at a time.
class UdsClient {
public:
    /// `link` and `clock` must outlive the client.
    UdsClient(VehicleLink& link, std::stop_token cancel, Platform::Clock& clock,
              Timing timing = {});

    /// The final response as it came, negative ones included. Empty when the request suppresses
    /// its positive response and nothing came within P2. Throws `LinkError` when the link failed
    /// or the request is empty, `NoUsableResponse` when no response came in time; `Cancelled`.
    Bytes exchange(const Bytes& request);

    /// The final positive response. Throws as `exchange` and `NegativeResponse`.
    Bytes request(const Bytes& request);

    /// SecurityAccess: seed and key of an odd level. An all-zero seed means already unlocked.
    void unlock(std::uint8_t level, std::uint32_t keyMask);

    /// The data alone, without the three bytes of the response's header.
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
    /// An exchange ended without its response, which may still arrive.
    bool lateResponsePossible = false;
};

} // namespace Quarlen::Kel_cpp::Uds
