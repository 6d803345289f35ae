#pragma once

#include <cstdint>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <utility>

#include "uds/LinkError.hpp"
#include "uds/Uds.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Uds {

/// The control unit sent a negative response (0x7F).
class NegativeResponse : public std::runtime_error {
public:
    /// `remark` goes behind the text of the message.
    NegativeResponse(std::uint8_t service, std::uint8_t code, std::wstring remark = {});
    [[nodiscard]] std::uint8_t service() const noexcept { return serviceId; }
    [[nodiscard]] std::uint8_t nrc() const noexcept { return code; }
    /// "ReadDataByIdentifier (0x22) refused: request out of range (0x31)"
    [[nodiscard]] std::wstring message() const;

private:
    std::uint8_t serviceId;
    std::uint8_t code;
    std::wstring remark;
};

/// What a job asks of one control unit over its link. The caller owns the link, which must outlive
/// the client. No thread is started here: each wait runs on the thread of the caller, and a cancel
/// ends it at once.
class Client {
public:
    Client(VehicleLink& link, std::stop_token cancel) : link(link), cancel(std::move(cancel)) {}

    /// As `Channel::exchange`.
    Bytes exchange(const Bytes& request, const ExchangeManner& manner = {}) {
        return link.channel().exchange(request, cancel, manner);
    }

    /// The final positive response. Throws as `exchange` and `NegativeResponse`.
    Bytes request(const Bytes& request, const ExchangeManner& manner = {});

    /// SecurityAccess: seed and key of an odd level. An all-zero seed means already unlocked.
    void unlock(std::uint8_t level, std::uint32_t keyMask);

    /// Reads a data identifier and returns its data without the three header bytes of the response.
    Bytes readData(std::uint16_t dataIdentifier);

private:
    VehicleLink& link;
    std::stop_token cancel;
};

/// What a negative response says, in words: the refusal, and where the control unit has locked
/// again what was unlocked, why.
[[nodiscard]] std::wstring refusalText(const Channel& channel, const Bytes& response);

} // namespace Quarlen::Uds
