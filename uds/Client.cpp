#include "uds/Client.hpp"

#include <algorithm>

#include "uds/SeedKey.hpp"

namespace Quarlen::Uds {

namespace {

/// Refusals that a lost unlock explains.
bool missesAnUnlock(std::uint8_t code) {
    switch (static_cast<Nrc>(code)) {
    case Nrc::SecurityAccessDenied:
    case Nrc::SubFunctionNotSupportedInActiveSession:
    case Nrc::ServiceNotSupportedInActiveSession:
        return true;
    default:
        return false;
    }
}

std::wstring remarkOn(const Channel& channel, std::uint8_t code) {
    const std::wstring reason = missesAnUnlock(code) ? channel.reasonOfLock() : std::wstring();
    return reason.empty() ? reason : L"; the control unit was unlocked before " + reason;
}

NoUsableResponse unusable(const Bytes& request, const Bytes& response) {
    return NoUsableResponse(L"unusable response to " + serviceText(request[0]) + L": " +
                            hexText(response));
}

} // namespace

NegativeResponse::NegativeResponse(std::uint8_t service, std::uint8_t code, std::wstring remark)
    : std::runtime_error("NegativeResponse"),
      serviceId(service),
      code(code),
      remark(std::move(remark)) {}

std::wstring NegativeResponse::message() const {
    return serviceText(serviceId) + L" refused: " + nrcText(code) + remark;
}

std::wstring refusalText(const Channel& channel, const Bytes& response) {
    return NegativeResponse(response[1], response[2], remarkOn(channel, response[2])).message();
}

Bytes Client::request(const Bytes& request, const ExchangeManner& manner) {
    auto response = exchange(request, manner);
    if (isNegative(response)) {
        throw NegativeResponse(response[1], response[2], remarkOn(link.channel(), response[2]));
    }
    return response;
}

void Client::unlock(std::uint8_t level, std::uint32_t keyMask) {
    const auto service = static_cast<std::uint8_t>(Service::SecurityAccess);
    const Bytes seedRequest{service, level};
    const auto response = request(seedRequest);
    if (response.size() < 3) {
        throw unusable(seedRequest, response);
    }
    const Bytes seed(response.begin() + 2, response.end());
    if (std::all_of(seed.begin(), seed.end(), [](auto byte) { return byte == 0; })) {
        return;
    }
    Bytes keyRequest = keyForSeed(seed, keyMask);
    keyRequest.insert(keyRequest.begin(), {service, static_cast<std::uint8_t>(level + 1)});
    request(keyRequest);
}

Bytes Client::readData(std::uint16_t dataIdentifier) {
    Bytes readRequest{static_cast<std::uint8_t>(Service::ReadDataByIdentifier)};
    appendNumber(readRequest, dataIdentifier, 2);
    auto response = request(readRequest);
    response.erase(response.begin(), response.begin() + 3);
    return response;
}

} // namespace Quarlen::Uds
