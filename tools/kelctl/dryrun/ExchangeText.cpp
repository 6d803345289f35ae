#include "tools/kelctl/dryrun/ExchangeText.hpp"

#include <utility>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Ctl {

namespace {

constexpr auto transferData = static_cast<std::uint8_t>(Uds::Service::TransferData);
/// Service identifier and block counter.
constexpr std::size_t blockHeader = 2;

} // namespace

std::string bytesText(const Uds::Bytes& bytes) {
    constexpr std::size_t maxShown = 32;
    constexpr std::size_t shownOfLong = 16;
    if (bytes.size() <= maxShown) {
        return Platform::toUtf8(Uds::hexText(bytes));
    }
    const Uds::Bytes begin(bytes.begin(), bytes.begin() + shownOfLong);
    return Platform::toUtf8(Uds::hexText(begin)) + " ... (" + std::to_string(bytes.size()) +
           " bytes)";
}

std::string requestText(const Uds::Bytes& request) {
    return request.empty() ? std::string() : Platform::toUtf8(Uds::serviceText(request[0]));
}

std::string responseText(const Uds::Bytes& response) {
    return Uds::isNegative(response) ? Platform::toUtf8(Uds::nrcText(response[2])) : std::string();
}

std::string exchangeText(const Uds::BusEvent& event) {
    switch (event.kind) {
    case Uds::BusEvent::Kind::Request:
        return "> " + bytesText(event.bytes) + "  " + requestText(event.bytes);
    case Uds::BusEvent::Kind::Response: {
        const std::string reason = responseText(event.bytes);
        return "< " + bytesText(event.bytes) + (reason.empty() ? "" : "  " + reason);
    }
    case Uds::BusEvent::Kind::Silence:
        return "< no answer to " + bytesText(event.bytes);
    case Uds::BusEvent::Kind::Lost:
        return "! " + Platform::toUtf8(event.text);
    case Uds::BusEvent::Kind::KeepAlive:
        return "> " + bytesText(event.bytes) + "  keeps the unlock";
    case Uds::BusEvent::Kind::Locked:
        return "! locked again: " + Platform::toUtf8(event.text);
    }
    return {};
}

bool TransferRun::takesRequest(const std::wstring& link, const Uds::Bytes& request) {
    const bool fits = request.size() > blockHeader && request[0] == transferData &&
                      (!blocks || (blocks->link == link && !blocks->open));
    if (fits && !blocks) {
        blocks = Blocks{link, 0, 0, {}};
    }
    if (fits) {
        blocks->open = request;
    }
    return fits;
}

bool TransferRun::takesResponse(const std::wstring& link, const Uds::Bytes& response) {
    const bool fits = blocks && blocks->open && blocks->link == link && !response.empty() &&
                      response[0] == transferData + Uds::positiveResponseOffset;
    if (fits) {
        ++blocks->accepted;
        blocks->bytes += blocks->open->size() - blockHeader;
        blocks->open.reset();
    }
    return fits;
}

std::optional<TransferRun::Blocks> TransferRun::end() {
    return std::exchange(blocks, std::nullopt);
}

} // namespace Quarlen::Ctl
