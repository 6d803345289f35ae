#include "doip/Opening.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>

#include "doip/PlaceText.hpp"
#include "doip/VehicleSearch.hpp"
#include "platform/DetachedThread.hpp"
#include "platform/SystemError.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip {

namespace {

using boost::asio::ip::tcp;
using std::chrono::steady_clock;

/// Between two attempts to reach a vehicle that refuses the connection.
constexpr std::chrono::milliseconds retryPause{100};

struct Lookup {
    std::mutex mutex;
    std::condition_variable_any changed;
    bool isDone = false;
    boost::system::error_code error;
    std::vector<tcp::endpoint> endpoints;
};

/// On a thread of its own, because the system may take its time and cannot be interrupted.
std::shared_ptr<Lookup> beginLookup(const std::string& host, int port) {
    auto lookup = std::make_shared<Lookup>();
    Platform::startDetachedThread([lookup, host, port] {
        boost::asio::io_context own;
        boost::system::error_code error;
        const auto found = tcp::resolver(own).resolve(host, std::to_string(port), error);
        const std::lock_guard lock(lookup->mutex);
        lookup->error = error;
        for (const auto& entry : found) {
            lookup->endpoints.push_back(entry.endpoint());
        }
        lookup->isDone = true;
        lookup->changed.notify_all();
    });
    return lookup;
}

std::wstring hostText(const DoipSettings& settings) {
    return placeText(settings.host, settings.port);
}

std::wstring textOf(const tcp::endpoint& endpoint) {
    return placeText(endpoint.address().to_string(), endpoint.port());
}

} // namespace

void Opening::run() {
    const Endpoints endpoints = place();
    // Once more where the vehicle speaks another version than the one that was tried first.
    if (!activate(endpoints) && !activate(endpoints)) {
        throw Uds::ConnectionLost(connection.failure);
    }
}

void Opening::checkCancelled() const {
    if (cancel.stop_requested() || connection.closing.stop_requested()) {
        throw Uds::Cancelled();
    }
}

template <class Condition>
bool Opening::runUntil(Condition condition, steady_clock::time_point deadline) {
    const auto wake = [this] { boost::asio::post(connection.context, [] {}); };
    const std::stop_callback onCancel(cancel, wake);
    const std::stop_callback onClose(connection.closing.get_token(), wake);
    while (!condition()) {
        checkCancelled();
        if (steady_clock::now() >= deadline) {
            return false;
        }
        connection.context.run_one_until(deadline);
    }
    return true;
}

Opening::Endpoints Opening::place() {
    const DoipSettings& settings = connection.options;
    if (!settings.host.empty()) {
        return addressesOf(settings.host);
    }
    const FoundVehicle found = findVehicle(settings, cancel, connection.closing.get_token());
    connection.version = found.version;
    return addressesOf(found.host);
}

Opening::Endpoints Opening::addressesOf(const std::string& host) const {
    const int port = connection.options.port;
    boost::system::error_code notNumeric;
    const auto address = boost::asio::ip::make_address(host, notNumeric);
    if (!notNumeric) {
        return {{address, static_cast<std::uint16_t>(port)}};
    }
    const auto lookup = beginLookup(host, port);
    const auto wake = [&] {
        const std::lock_guard lock(lookup->mutex);
        lookup->changed.notify_all();
    };
    const std::stop_callback onClose(connection.closing.get_token(), wake);
    std::unique_lock lock(lookup->mutex);
    lookup->changed.wait(lock, cancel,
                         [&] { return lookup->isDone || connection.closing.stop_requested(); });
    checkCancelled();
    if (lookup->endpoints.empty()) {
        throw Uds::ConnectionLost(L"the vehicle " + hostText(connection.options) +
                                  L" cannot be found: " + Platform::errorText(lookup->error));
    }
    return lookup->endpoints;
}

/// An address alone does not say which vehicle is there today.
tcp::socket Opening::connectToMeant(const Endpoints& endpoints) {
    const DoipSettings& settings = connection.options;
    tcp::socket socket = connect(endpoints);
    if (!settings.host.empty() && (!settings.vin.empty() || settings.eid)) {
        boost::system::error_code gone;
        DoipSettings found = settings;
        found.host = socket.remote_endpoint(gone).address().to_string();
        checkIdentity(found, cancel, connection.closing.get_token());
    }
    return socket;
}

tcp::socket Opening::connect(const Endpoints& endpoints) {
    const auto deadline = steady_clock::now() + connection.options.times.connecting;
    for (;;) {
        tcp::socket socket(connection.context);
        const std::wstring failure = tryConnect(socket, endpoints, deadline);
        if (failure.empty()) {
            return socket;
        }
        if (steady_clock::now() + retryPause >= deadline) {
            throw Uds::ConnectionLost(L"no vehicle answers at " + failure);
        }
        runUntil([] { return false; }, steady_clock::now() + retryPause);
    }
}

/// Why it failed, in words; empty when the socket is connected. No address takes the time of those
/// behind it.
std::wstring Opening::tryConnect(tcp::socket& socket, const Endpoints& endpoints,
                                 steady_clock::time_point deadline) {
    std::wstring failures;
    auto left = static_cast<int>(endpoints.size());
    for (const auto& endpoint : endpoints) {
        const auto now = steady_clock::now();
        const std::wstring failure = tryAddress(socket, endpoint, now + (deadline - now) / left);
        if (failure.empty()) {
            return {};
        }
        failures += (failures.empty() ? L"" : L"; ") + textOf(endpoint) + L": " + failure;
        --left;
    }
    return failures;
}

std::wstring Opening::tryAddress(tcp::socket& socket, const tcp::endpoint& endpoint,
                                 steady_clock::time_point deadline) {
    auto outcome = std::make_shared<std::optional<boost::system::error_code>>();
    socket = tcp::socket(connection.context);
    socket.async_connect(endpoint, [outcome](const auto& error) { *outcome = error; });
    if (!runUntil([&] { return outcome->has_value(); }, deadline)) {
        return L"no answer in time";
    }
    return **outcome ? Platform::errorText(**outcome) : std::wstring();
}

/// False when another version is worth a try.
bool Opening::activate(const Endpoints& endpoints) {
    auto fresh = std::make_shared<TcpTransport>(connectToMeant(endpoints), connection.state,
                                                connection.clock);
    connection.failure.clear();
    connection.otherVersion.reset();
    connection.activation.reset();
    connection.beginReading(std::move(fresh));
    const DoipSettings& settings = connection.options;
    connection.answer(PayloadType::RoutingActivationRequest,
                      encode(RoutingActivationRequest{settings.tester, settings.activation}));
    awaitActivation();
    if (connection.otherVersion) {
        connection.version = *connection.otherVersion;
        connection.connected()->shutDown();
        return false;
    }
    if (!connection.failure.empty()) {
        throw Uds::ConnectionLost(connection.failure);
    }
    judge(*connection.activation);
    return true;
}

/// A vehicle that says again and again that it waits does not get more time.
void Opening::awaitActivation() {
    const DoipTimes& times = connection.options.times;
    awaitResponse(steady_clock::now() + times.control, times.control);
    const auto deadline = steady_clock::now() + times.confirmation;
    while (connection.activation && connection.activation->mustBeConfirmed()) {
        connection.note(routingCodeText(connection.activation->code));
        connection.activation.reset();
        awaitResponse(deadline, times.confirmation);
    }
}

void Opening::awaitResponse(steady_clock::time_point deadline, std::chrono::milliseconds time) {
    const auto hasCome = [&] { return connection.activation || !connection.failure.empty(); };
    if (!runUntil(hasCome, deadline)) {
        throw Uds::ConnectionLost(L"the vehicle at " + connection.connected()->peer() +
                                  L" does not answer the routing activation within " +
                                  std::to_wstring(time.count()) + L" ms");
    }
}

void Opening::judge(const RoutingActivationResponse& response) const {
    if (response.code == static_cast<std::uint8_t>(RoutingCode::Activated)) {
        return;
    }
    throw Uds::RoutingRefused(response.code, L"the vehicle at " + connection.connected()->peer() +
                                                 L" does not let tester " +
                                                 addressText(connection.options.tester) + L" in: " +
                                                 routingCodeText(response.code));
}

} // namespace Quarlen::Doip
