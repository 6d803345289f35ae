// Two servers for scripts/benchmark-rest to measure side by side: the product's REST server, and a
// bare server of the same HTTP library, version and options that answers the same bytes.

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <thread>

#include <httplib.h>

#include "kel_server_lib/rest/RESTServer.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "platform/HeapSettings.hpp"
#include "tests/support/RecordingKelApi.hpp"

namespace {

constexpr std::size_t maxWorkers = 512;

/// Until the input ends.
void waitForEnd() {
    std::cout << "ready" << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), std::char_traits<char>::eof());
}

void serveProduct(int port) {
    Quarlen::Platform::shareOneHeap(); // as the program does
    std::atomic<bool> stopRequested{false};
    auto handler = std::make_shared<Quarlen::ServerHandlerSequence>();
    Quarlen::RESTServer server(stopRequested, handler, false, {.port = port});
    server.start(std::make_shared<Quarlen::Tests::RecordingKelApi>());
    waitForEnd();
}

void serveBare(int port) {
    httplib::Server server;
    server.new_task_queue = [] { return new httplib::ThreadPool(maxWorkers); };
    server.set_tcp_nodelay(true);
    server.set_keep_alive_timeout(3600);
    server.set_keep_alive_max_count(100);
    server.set_payload_max_length(1024 * 1024);
    server.Get("/kel/v1/.*", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(R"({"status":"OK"})", "application/json");
    });
    std::thread listener([&] { server.listen("127.0.0.1", port); });
    server.wait_until_ready();
    waitForEnd();
    server.stop();
    listener.join();
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 3) {
        std::cerr << "usage: kel_rest_benchmark_server product|bare PORT\n";
        return 2;
    }
    const int port = std::atoi(argv[2]);
    if (std::string(argv[1]) == "product") {
        serveProduct(port);
    } else {
        serveBare(port);
    }
    return 0;
}
