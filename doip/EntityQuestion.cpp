#include "doip/EntityQuestion.hpp"

#include <optional>
#include <span>
#include <string>

#include "doip/MessageReader.hpp"
#include "doip/PlaceText.hpp"
#include "doip/UdpQuestion.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip {

namespace {

/// What one entity answers; it is asked once more in the version that it speaks.
class EntityQuestion {
public:
    EntityQuestion(const DoipSettings& settings, PayloadType request, PayloadType response)
        : settings(settings), request(request), response(response) {}

    /// Nothing without an answer. Throws `MalformedMessage`, and `ConnectionLost` for a refusal.
    std::optional<Bytes> ask() {
        ask(version2019);
        if (refusal == static_cast<std::uint8_t>(HeaderNackCode::IncorrectPattern) &&
            theirs != version2019 && isKnownVersion(theirs)) {
            ask(theirs);
        }
        if (refusal) {
            throw Uds::ConnectionLost(headerNackText(*refusal));
        }
        return payload;
    }

private:
    void ask(std::uint8_t version) {
        refusal.reset();
        const auto ways = UdpQuestion::waysTo(settings.host, settings.port);
        UdpQuestion question(
            ways, encode(request, {}, version),
            [&](std::span<const std::uint8_t> datagram, const UdpQuestion::Endpoint& from) {
                if (from.address() == ways.front().to.address()) {
                    take(decodeDatagram(datagram));
                }
                return payload || refusal;
            });
        question.ask(settings.times.control, {}, {});
    }
    void take(const Message& message) {
        if (message.is(response)) {
            payload = message.payload;
        } else if (message.is(PayloadType::HeaderNack)) {
            refusal = decodeHeaderNack(message.payload);
            theirs = message.version;
        }
    }

    const DoipSettings& settings;
    const PayloadType request;
    const PayloadType response;
    std::optional<Bytes> payload;
    std::optional<std::uint8_t> refusal;
    std::uint8_t theirs = version2019;
};

/// What the entity says, decoded.
template <class Decode>
auto askEntity(const DoipSettings& settings, PayloadType request, PayloadType response,
               Decode decode) {
    std::wstring cause = L" within " + std::to_wstring(settings.times.control.count()) + L" ms";
    try {
        if (const auto payload = EntityQuestion(settings, request, response).ask()) {
            return decode(*payload);
        }
    } catch (const MalformedMessage& error) {
        cause = L": it sends what is no message of DoIP: " + error.message();
    } catch (const Uds::ConnectionLost& error) {
        cause = L": " + error.message();
    }
    throw Uds::ConnectionLost(L"the vehicle at " + placeText(settings.host, settings.port) +
                              L" does not answer the " +
                              payloadTypeText(static_cast<std::uint16_t>(request)) + cause);
}

} // namespace

EntityStatus entityStatus(const DoipSettings& settings) {
    return askEntity(settings, PayloadType::EntityStatusRequest, PayloadType::EntityStatusResponse,
                     decodeEntityStatus);
}

std::uint8_t powerMode(const DoipSettings& settings) {
    return askEntity(settings, PayloadType::PowerModeRequest, PayloadType::PowerModeResponse,
                     decodePowerMode);
}

} // namespace Quarlen::Doip
