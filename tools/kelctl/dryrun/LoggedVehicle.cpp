#include "tools/kelctl/dryrun/LoggedVehicle.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace Quarlen::Ctl {

namespace {

const Uds::Bytes quietTesterPresent{static_cast<std::uint8_t>(Uds::Service::TesterPresent),
                                    Uds::suppressPositiveResponseBit};

bool isPending(const Uds::Bytes& response) {
    return Uds::isNegative(response) &&
           response[2] == static_cast<std::uint8_t>(Uds::Nrc::ResponsePending);
}

bool hasService(const Uds::Bytes& message, Uds::Service service) {
    return !message.empty() && message[0] == static_cast<std::uint8_t>(service);
}

/// The requests that end an unlock (ISO 14229-1 clause 10.4).
bool locks(const Uds::Bytes& request) {
    return hasService(request, Uds::Service::DiagnosticSessionControl) ||
           hasService(request, Uds::Service::EcuReset);
}

/// The key is accepted, or the seed is zero because there is nothing to unlock.
bool unlocks(const Uds::Bytes& request, const Uds::Bytes& response) {
    if (!hasService(request, Uds::Service::SecurityAccess) || request.size() < 2 ||
        Uds::isNegative(response) || response.size() < 2) {
        return false;
    }
    const bool isKey = request[1] % 2 == 0;
    return isKey || std::all_of(response.begin() + 2, response.end(),
                                [](std::uint8_t byte) { return byte == 0; });
}

} // namespace

/// One link. Its owner uses it on one thread at a time; only `keepAlive` comes from others, and
/// only while the owner waits for nothing.
class LoggedVehicle::Link final : public Uds::VehicleLink {
public:
    Link(LoggedVehicle& owner, std::wstring name, std::unique_ptr<Uds::VehicleLink> link)
        : owner(owner), name(std::move(name)), link(std::move(link)) {}
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    ~Link() override {
        keep(false);
        tellSilence();
    }

    void send(const Uds::Bytes& request) override {
        keep(false);
        tellSilence();
        tell(LinkEvent::Kind::Request, request);
        last = request;
        isUnlocked = isUnlocked && !locks(request);
        try {
            link->send(request);
        } catch (const Uds::LinkError& error) {
            tell(LinkEvent::Kind::Lost, request, error.message());
            throw;
        }
        if (!Uds::suppressesPositiveResponse(request)) {
            unanswered = request;
        }
    }

    std::optional<Uds::Bytes> receive(std::chrono::milliseconds timeout) override {
        auto response = link->receive(timeout);
        if (response) {
            tell(LinkEvent::Kind::Response, *response);
            if (!isPending(*response)) {
                unanswered.reset();
                isUnlocked = isUnlocked || unlocks(last, *response);
                keep(isUnlocked && isOfSequence);
            }
        }
        return response;
    }

    /// The owner's `mutex` is held, so the link is not destroyed meanwhile.
    void keepAlive() {
        tell(LinkEvent::Kind::KeepAlive, quietTesterPresent);
        try {
            link->send(quietTesterPresent);
        } catch (const Uds::LinkError& error) {
            tell(LinkEvent::Kind::Lost, quietTesterPresent, error.message());
        }
    }

private:
    void keep(bool isKept) {
        const std::lock_guard lock(owner.mutex);
        if (isKept) {
            owner.keptLinks.insert(this);
        } else {
            owner.keptLinks.erase(this);
        }
    }
    void tell(LinkEvent::Kind kind, const Uds::Bytes& bytes, const std::wstring& text = {}) const {
        owner.onEvent({kind, name, bytes, text});
    }
    void tellSilence() {
        if (const auto request = std::exchange(unanswered, std::nullopt)) {
            tell(LinkEvent::Kind::Silence, *request);
        }
    }

    LoggedVehicle& owner;
    const std::wstring name;
    const std::unique_ptr<Uds::VehicleLink> link;
    const bool isOfSequence = std::this_thread::get_id() == owner.sequenceThread;
    std::optional<Uds::Bytes> unanswered;
    Uds::Bytes last;
    bool isUnlocked = false;
};

LoggedVehicle::LoggedVehicle(std::shared_ptr<Uds::VehicleInterface> vehicle, OnEvent onEvent)
    : vehicle(std::move(vehicle)), onEvent(std::move(onEvent)) {}

std::unique_ptr<Uds::VehicleLink> LoggedVehicle::openLink(const std::wstring& logicalLink) {
    try {
        return std::make_unique<Link>(*this, logicalLink, vehicle->openLink(logicalLink));
    } catch (const Uds::LinkError& error) {
        onEvent({LinkEvent::Kind::Lost, logicalLink, {}, error.message()});
        throw;
    }
}

void LoggedVehicle::keepSessions() {
    const std::lock_guard lock(mutex);
    for (Link* const link : keptLinks) {
        link->keepAlive();
    }
}

} // namespace Quarlen::Ctl
