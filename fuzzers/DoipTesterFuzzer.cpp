#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include "doip/DoipInterface.hpp"
#include "doip/MessageReader.hpp"
#include "platform/Clock.hpp"
#include "uds/LinkError.hpp"

namespace {

using namespace Quarlen;
using boost::asio::ip::tcp;
using Uds::Bytes;

constexpr std::uint16_t unit = 0x0011;
constexpr std::uint16_t everybody = 0xE400;
/// Longer than any run takes; a run that waits so long hangs.
constexpr std::chrono::seconds longTime{600};
/// Those of a connection that are told, and the messages that one end keeps.
constexpr std::size_t maxNotes = 20;
constexpr std::size_t maxWaiting = 256;
/// More than one payload from a tester has here.
constexpr std::size_t maxPayload = 64;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// What the tester has to hear, and when.
struct Play {
    /// Before or after an activation as it should be.
    bool letsIn = false;
    /// Messages of the tester that are waited for before the bytes come.
    int requests = 0;
    Bytes bytes{};
};

/// Plays the same to each tester that comes, on a thread of its own.
class Vehicle {
public:
    Vehicle() {
        std::thread([this] { serve(); }).detach();
    }
    [[nodiscard]] int port() const { return acceptor.local_endpoint().port(); }
    void play(Play next) {
        const std::lock_guard lock(mutex);
        current = std::move(next);
    }

private:
    void serve() {
        for (;;) {
            tcp::socket socket(context);
            boost::system::error_code interrupted;
            acceptor.accept(socket, interrupted);
            if (!interrupted) {
                // One that has left already may be among them.
                serve(socket, now());
            }
        }
    }
    Play now() {
        const std::lock_guard lock(mutex);
        return current;
    }
    void serve(tcp::socket& socket, const Play& play) {
        Doip::MessageReader reader(maxPayload);
        boost::system::error_code gone;
        socket.set_option(tcp::no_delay(true), gone);
        if (play.letsIn && hears(socket, reader, 1)) {
            boost::asio::write(socket, boost::asio::buffer(welcome), gone);
            hears(socket, reader, play.requests);
        }
        boost::asio::write(socket, boost::asio::buffer(play.bytes), gone);
        socket.shutdown(tcp::socket::shutdown_send, gone);
        // A reset would take from the tester what it has not read.
        while (hears(socket, reader, 1)) {
        }
    }
    /// Whole messages of types that a tester sends. False when it has left.
    static bool hears(tcp::socket& socket, Doip::MessageReader& reader, int messages) {
        while (messages > 0) {
            if (const auto message = reader.next()) {
                require(message->is(Doip::PayloadType::RoutingActivationRequest) ||
                        message->is(Doip::PayloadType::AliveCheckResponse) ||
                        message->is(Doip::PayloadType::DiagnosticMessage));
                --messages;
                continue;
            }
            std::array<std::uint8_t, 4096> bytes{};
            boost::system::error_code end;
            const auto count = socket.read_some(boost::asio::buffer(bytes), end);
            if (end == boost::asio::error::interrupted) {
                continue;
            }
            if (end) {
                return false;
            }
            reader.add(std::span(bytes).first(count));
        }
        return true;
    }

    const Bytes welcome =
        Doip::encode(Doip::PayloadType::RoutingActivationResponse,
                     Doip::encode(Doip::RoutingActivationResponse{
                         0x0E80, 0x1000, static_cast<std::uint8_t>(Doip::RoutingCode::Activated)}));
    boost::asio::io_context context;
    tcp::acceptor acceptor{context, {boost::asio::ip::address_v4::loopback(), 0}};
    std::mutex mutex;
    Play current;
};

Vehicle& vehicle() {
    static auto* const played = new Vehicle;
    return *played;
}

/// What a run sees of its tester.
struct Watched {
    std::atomic<std::size_t> notes = 0;
    std::promise<std::wstring> lost;
};

std::unique_ptr<Doip::DoipInterface> makeTester(Watched& watched) {
    Doip::DoipSettings settings;
    settings.host = "127.0.0.1";
    settings.port = vehicle().port();
    settings.times = {longTime, longTime, longTime, longTime, longTime};
    settings.onNote = [&](const std::wstring& text) {
        require(!text.empty());
        ++watched.notes;
    };
    auto tester = std::make_unique<Doip::DoipInterface>(settings, Platform::systemClock());
    tester->onLost([&](const std::wstring& cause) { watched.lost.set_value(cause); });
    return tester;
}

Uds::Patience patience() {
    return {{}, Platform::systemClock().now() + longTime};
}

void send(Uds::Endpoint& end, const Bytes& request) {
    try {
        end.send(request, patience());
    } catch (const Uds::LinkError& error) {
        require(!error.message().empty());
    }
}

/// Everything that has come for the end, until the connection has ended.
void takeAll(Uds::Endpoint& end, const std::optional<std::uint16_t>& source) {
    for (std::size_t taken = 0; taken <= maxWaiting;) {
        try {
            const auto received = end.receive(patience());
            require(received && !received->bytes.empty());
            require(!source || received->source == *source);
            ++taken;
        } catch (const Uds::MessageRefused& refusal) {
            require(!refusal.message().empty());
        } catch (const Uds::ConnectionLost& loss) {
            require(!loss.message().empty());
            return;
        }
    }
    // While it still comes, more than are kept may be taken; not after the end.
}

void exchange(Doip::DoipInterface& tester, Watched& watched) {
    const auto one = tester.openEndpoint(tester.resolve({L"LINK", unit}));
    const auto all = tester.openFunctional(everybody);
    send(*one, {0x22, 0xF1, 0x90});
    send(*all, {0x3E, 0x00});
    require(!watched.lost.get_future().get().empty());
    takeAll(*one, unit);
    takeAll(*all, {});
    require(tester.state() == Uds::VehicleInterface::State::Lost);
}

void run(const Play& play) {
    vehicle().play(play);
    Watched watched;
    const auto tester = makeTester(watched);
    try {
        tester->open({});
        exchange(*tester, watched);
    } catch (const Uds::LinkError& error) {
        require(!error.message().empty());
    }
    require(watched.notes <= maxNotes);
}

} // namespace

/// Whatever a vehicle says, while it is asked for the routing or afterwards, the tester comes to an
/// end with a cause in words, has told little and kept little, and has said only whole messages.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        const bool letsIn = (data[0] & 1U) != 0;
        run({letsIn, letsIn ? 2 : 0, {data + 1, data + size}});
    }
    return 0;
}
