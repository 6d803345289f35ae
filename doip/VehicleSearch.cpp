#include "doip/VehicleSearch.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "doip/MessageReader.hpp"
#include "doip/PlaceText.hpp"
#include "doip/UdpQuestion.hpp"
#include "platform/TextEncoding.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip {

namespace {

using Endpoint = UdpQuestion::Endpoint;

using Datagram = std::span<const std::uint8_t>;

/// Of one search. Whoever floods does not take the memory.
constexpr std::size_t maxVehicles = 256;

Bytes identificationRequest(const DoipSettings& settings) {
    if (settings.eid) {
        return encode(PayloadType::VehicleIdentificationRequestWithEid, encodeEid(*settings.eid),
                      versionUnknown);
    }
    if (!settings.vin.empty()) {
        return encode(PayloadType::VehicleIdentificationRequestWithVin, encodeVin(settings.vin),
                      versionUnknown);
    }
    return encode(PayloadType::VehicleIdentificationRequest, {}, versionUnknown);
}

bool isMeant(const DoipSettings& settings, const VehicleAnnouncement& announcement) {
    return (settings.vin.empty() || announcement.vin == settings.vin) &&
           (!settings.eid || announcement.eid == *settings.eid);
}

/// Nothing for what is none: somebody else's, in a network that is open to all.
std::optional<Message> messageIn(Datagram datagram) {
    try {
        return decodeDatagram(datagram);
    } catch (const MalformedMessage&) {
        return {};
    }
}

/// Nothing for what is no announcement.
std::optional<FoundVehicle> foundIn(Datagram datagram, const Endpoint& from) {
    const auto message = messageIn(datagram);
    if (!message || !message->is(PayloadType::VehicleAnnouncement)) {
        return {};
    }
    try {
        return FoundVehicle{decodeVehicleAnnouncement(message->payload), from.address().to_string(),
                            isKnownVersion(message->version) ? message->version : version2019};
    } catch (const MalformedMessage&) {
        return {};
    }
}

/// Nothing for what does not tell it.
std::optional<std::uint8_t> powerModeIn(Datagram datagram) {
    const auto message = messageIn(datagram);
    return message && message->is(PayloadType::PowerModeResponse) && message->payload.size() == 1
               ? std::optional(decodePowerMode(message->payload))
               : std::nullopt;
}

/// A vehicle answers from each of its addresses, and to each way of asking.
bool isSame(const FoundVehicle& one, const FoundVehicle& other) {
    return one.announcement.eid == other.announcement.eid &&
           one.announcement.vin == other.announcement.vin;
}

/// Only what is meant.
void addNew(std::vector<FoundVehicle>& vehicles, const DoipSettings& settings, Datagram datagram,
            const Endpoint& from) {
    const auto found = foundIn(datagram, from);
    const bool isNew =
        found && isMeant(settings, found->announcement) &&
        std::none_of(vehicles.begin(), vehicles.end(),
                     [&](const FoundVehicle& known) { return isSame(known, *found); });
    if (isNew && vehicles.size() < maxVehicles) {
        vehicles.push_back(*found);
    }
}

std::wstring wantedText(const DoipSettings& settings) {
    return (settings.vin.empty() ? L"" : L" with the VIN " + Platform::fromUtf8(settings.vin)) +
           (settings.eid ? L" with the EID " + entityIdText(*settings.eid) : L"");
}

void note(const DoipSettings& settings, const std::wstring& text) {
    if (settings.onNote) {
        settings.onNote(text);
    }
}

void listen(UdpQuestion& question, const DoipSettings& settings) {
    if (!question.listenAt(settings.port)) {
        note(settings, L"announcements are not heard: another program has the UDP port " +
                           std::to_wstring(settings.port));
    }
}

/// Looks for one vehicle and at what can be learnt meanwhile.
class Search {
public:
    explicit Search(const DoipSettings& settings)
        : settings(settings),
          question(UdpQuestion::waysToEverybody(settings.port), identificationRequest(settings),
                   [this](Datagram datagram, const Endpoint& from) {
                       const bool isFound = !vehicles.empty();
                       take(datagram, from);
                       return isFound ? mode && vehicles.size() > 1 : !vehicles.empty();
                   }) {}

    FoundVehicle run(const std::stop_token& cancel, const std::stop_token& closing) {
        listen(question, settings);
        question.ask(settings.times.control, cancel, closing);
        if (vehicles.empty()) {
            throw Uds::ConnectionLost(L"no vehicle" + wantedText(settings) +
                                      L" answers or announces itself on UDP port " +
                                      std::to_wstring(settings.port));
        }
        question.send(encode(PayloadType::PowerModeRequest, {}, vehicles.front().version),
                      {place, static_cast<std::uint16_t>(settings.port)});
        question.hear(settings.times.lookAround);
        tell();
        return vehicles.front();
    }

private:
    void take(Datagram datagram, const Endpoint& from) {
        if (vehicles.empty()) {
            place = from.address();
        } else if (const auto told = powerModeIn(datagram); told && from.address() == place) {
            mode = told;
        }
        addNew(vehicles, settings, datagram, from);
    }

    void tell() const {
        const auto& found = vehicles.front();
        note(settings, L"found " + vehicleText(found));
        for (std::size_t other = 1; other < vehicles.size(); ++other) {
            note(settings, otherText(vehicles[other]));
        }
        if (found.announcement.furtherAction != 0 &&
            settings.activation != activationCentralSecurity) {
            note(settings, L"warning: the vehicle asks for more than the routing activation: " +
                               furtherActionText(found.announcement.furtherAction));
        }
        if (mode == static_cast<std::uint8_t>(PowerMode::NotReady)) {
            note(settings,
                 L"warning: the vehicle's diagnostic power mode is " + powerModeText(*mode));
        }
    }

    /// The gateways of one vehicle have its VIN, and control units of their own.
    [[nodiscard]] std::wstring otherText(const FoundVehicle& other) const {
        const std::string& vin = vehicles.front().announcement.vin;
        const bool isOfTheSame = !vin.empty() && other.announcement.vin == vin;
        return (isOfTheSame ? L"warning: another entity of this vehicle answers, too: "
                            : L"warning: another vehicle answers, too: ") +
               vehicleText(other) + L"; " + (isOfTheSame ? L"" : L"\"vin\" or ") +
               L"\"eid\" of the interface says which is meant";
    }

    const DoipSettings& settings;
    /// The one that was found, then others that are meant as well.
    std::vector<FoundVehicle> vehicles;
    boost::asio::ip::address place;
    std::optional<std::uint8_t> mode;
    UdpQuestion question;
};

} // namespace

std::wstring vehicleText(const FoundVehicle& vehicle) {
    const VehicleAnnouncement& told = vehicle.announcement;
    return (told.vin.empty() ? L"a vehicle that does not know its VIN"
                             : L"the vehicle " + Platform::fromUtf8(told.vin)) +
           L" (EID " + entityIdText(told.eid) + L", logical address " +
           addressText(told.logicalAddress) + L") at " + Platform::fromUtf8(vehicle.host);
}

FoundVehicle findVehicle(const DoipSettings& settings, const std::stop_token& cancel,
                         const std::stop_token& closing) {
    return Search(settings).run(cancel, closing);
}

void checkIdentity(const DoipSettings& settings, const std::stop_token& cancel,
                   const std::stop_token& closing) {
    const auto ways = UdpQuestion::waysTo(settings.host, settings.port);
    std::optional<FoundVehicle> told;
    UdpQuestion question(ways,
                         encode(PayloadType::VehicleIdentificationRequest, {}, versionUnknown),
                         [&](Datagram datagram, const Endpoint& from) {
                             if (from.address() == ways.front().to.address()) {
                                 told = foundIn(datagram, from);
                             }
                             return told.has_value();
                         });
    question.ask(settings.times.control, cancel, closing);
    if (!told || !isMeant(settings, told->announcement)) {
        throw Uds::ConnectionLost(
            L"the vehicle" + wantedText(settings) + L" is not at " +
            placeText(settings.host, settings.port) + L": " +
            (told ? L"there is " + vehicleText(*told)
                  : std::wstring(L"what is there does not say over UDP which vehicle it is")));
    }
}

std::vector<FoundVehicle> findVehicles(const DoipSettings& settings,
                                       std::chrono::milliseconds time) {
    std::vector<FoundVehicle> vehicles;
    UdpQuestion question(UdpQuestion::waysToEverybody(settings.port),
                         identificationRequest(settings),
                         [&](Datagram datagram, const Endpoint& from) {
                             addNew(vehicles, settings, datagram, from);
                             return vehicles.size() == maxVehicles;
                         });
    listen(question, settings);
    question.ask(time, {}, {});
    return vehicles;
}

} // namespace Quarlen::Doip
