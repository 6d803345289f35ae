#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include "benchmarks/FlashRun.hpp"
#include "doip/DoipInterface.hpp"
#include "tools/kel_vehicle/entity/DoipEntity.hpp"
#include "uds/Client.hpp"
#include "uds/Identifiers.hpp"

// What the network costs: against a plain stream of the same blocks, and with many testers.

namespace Quarlen::Kel_cpp {
namespace {

using boost::asio::ip::tcp;
using Seconds = std::chrono::duration<double>;

constexpr std::size_t flashedBytes = 16'000'000;
constexpr std::size_t manyTesters = 50;

/// The time that the work takes.
template <class Work>
Seconds timeOf(const Work& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - begin;
}

/// Takes blocks and replies to each by so many bytes, each in a segment of its own.
class PlainReceiver {
public:
    PlainReceiver(std::size_t blockSize, int replies)
        : thread([this, blockSize, replies] { serve(blockSize, replies); }) {}

    [[nodiscard]] tcp::endpoint endpoint() const { return acceptor.local_endpoint(); }

private:
    void serve(std::size_t blockSize, int replies) {
        tcp::socket socket = acceptor.accept();
        socket.set_option(tcp::no_delay(true));
        std::vector<std::uint8_t> block(blockSize);
        boost::system::error_code error;
        const std::vector<std::uint8_t> reply(1);
        while (!error) {
            boost::asio::read(socket, boost::asio::buffer(block), error);
            for (int count = 0; count < replies && !error; ++count) {
                socket.send(boost::asio::buffer(reply),
                            boost::asio::socket_base::message_end_of_record, error);
            }
        }
    }

    boost::asio::io_context context;
    tcp::acceptor acceptor{context, {boost::asio::ip::address_v4::loopback(), 0}};
    std::jthread thread;
};

/// Two replies are what a vehicle sends, its acknowledgement and its answer.
Seconds sendPlain(std::size_t blockSize, int replies) {
    const PlainReceiver receiver(blockSize, replies);
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(receiver.endpoint());
    socket.set_option(tcp::no_delay(true));
    const std::vector<std::uint8_t> block(blockSize, 0x5A);
    std::vector<std::uint8_t> reply(static_cast<std::size_t>(replies));
    return timeOf([&] {
        for (std::size_t sent = 0; sent < flashedBytes; sent += blockSize) {
            boost::asio::write(socket, boost::asio::buffer(block));
            boost::asio::read(socket, boost::asio::buffer(reply));
        }
    });
}

/// A vehicle on the network that logs each exchange, as its program does by itself.
class NetworkVehicle {
public:
    explicit NetworkVehicle(const Simulation::VehicleDescription& vehicle)
        : entity(vehicle, Platform::systemClock(), options()) {
        entity.start();
    }
    NetworkVehicle(const NetworkVehicle&) = delete;
    NetworkVehicle& operator=(const NetworkVehicle&) = delete;
    ~NetworkVehicle() { entity.stop(); }

    [[nodiscard]] Doip::DoipSettings settings(std::size_t tester = 0) const {
        constexpr std::uint16_t firstTester = 0x0E00;
        Doip::DoipSettings settings;
        settings.host = "127.0.0.1";
        settings.port = entity.port();
        settings.tester = static_cast<std::uint16_t>(firstTester + tester);
        return settings;
    }
    [[nodiscard]] std::shared_ptr<Doip::DoipInterface> connect() const {
        return std::make_shared<Doip::DoipInterface>(settings(), Platform::systemClock());
    }

private:
    KelVehicle::EntityOptions options() {
        KelVehicle::EntityOptions options;
        options.port = 0;
        options.log = [this](const std::string& line) { log << line << std::endl; };
        return options;
    }

    std::ofstream log{"/dev/null"};
    KelVehicle::DoipEntity entity;
};

/// Pairs of both, one after the other; the faster one of each counts, as what happens beside them
/// only takes time.
void flashBesidePlainStream(benchmark::State& state) {
    const auto blockSize = static_cast<std::size_t>(state.range(0));
    const NetworkVehicle vehicle(
        FlashRun::vehicle(flashedBytes, static_cast<std::uint32_t>(blockSize)));
    const FlashRun run(flashedBytes, vehicle.connect());
    Seconds doip = Seconds::max();
    Seconds plain = Seconds::max();
    Seconds twoReplies = Seconds::max();
    for ([[maybe_unused]] const auto iteration : state) {
        plain = std::min(plain, sendPlain(blockSize, 1));
        twoReplies = std::min(twoReplies, sendPlain(blockSize, 2));
        doip = std::min(doip, timeOf([&] {
                            if (!run.flash()) {
                                state.SkipWithError("the file was not flashed");
                            }
                        }));
    }
    constexpr double megabytes = flashedBytes / 1e6;
    state.counters["plain_MB_per_s"] = megabytes / plain.count();
    state.counters["plain_with_two_replies_MB_per_s"] = megabytes / twoReplies.count();
    state.counters["doip_MB_per_s"] = megabytes / doip.count();
    state.counters["share"] = plain / doip;
}

Simulation::VehicleDescription vehicleWithVin() {
    auto vehicle = FlashRun::vehicle(1, 4096);
    vehicle.controlUnits.front().dataIdentifiers = {
        {Uds::Did::vin, Uds::Bytes(17, 'A'), false, {}}};
    return vehicle;
}

/// Connects to the vehicle and reads its VIN so many times; false when it does not come.
bool readVin(const Doip::DoipSettings& settings, int times) {
    VehicleAccess access(L"Benchmark",
                         std::make_shared<Doip::DoipInterface>(settings, Platform::systemClock()),
                         Platform::systemClock());
    auto link = access.openLink({L"LINK", FlashRun::unitAddress});
    Uds::Client client(link, {});
    bool isRead = true;
    for (int time = 0; time < times; ++time) {
        isRead = isRead && client.readData(Uds::Did::vin).size() == 17;
    }
    return isRead;
}

/// From nothing to the VIN: the vehicle is looked for, activates the routing and is read.
void findVehicleAndReadVin(benchmark::State& state) {
    const NetworkVehicle vehicle(vehicleWithVin());
    auto settings = vehicle.settings();
    settings.host.clear();
    for ([[maybe_unused]] const auto iteration : state) {
        if (!readVin(settings, 1)) {
            state.SkipWithError("the VIN was not read");
        }
    }
}

/// So many testers at once, each with its connection.
void readVinByTesters(benchmark::State& state) {
    constexpr int times = 200;
    const auto testers = static_cast<std::size_t>(state.range(0));
    const NetworkVehicle vehicle(vehicleWithVin());
    std::atomic<std::size_t> succeeded = 0;
    for ([[maybe_unused]] const auto iteration : state) {
        std::vector<std::jthread> threads;
        for (std::size_t tester = 0; tester < testers; ++tester) {
            threads.emplace_back([&, settings = vehicle.settings(tester)] {
                succeeded += readVin(settings, times) ? 1 : 0;
            });
        }
    }
    if (succeeded != testers * state.iterations()) {
        state.SkipWithError("not every tester was served");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * times);
}

BENCHMARK(flashBesidePlainStream)->Arg(4096)->Arg(65536)->Iterations(5)->UseRealTime();
BENCHMARK(findVehicleAndReadVin)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(readVinByTesters)->Arg(1)->Arg(manyTesters)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
} // namespace Quarlen::Kel_cpp
