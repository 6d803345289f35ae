#include "tests/support/linux/ProcessState.hpp"

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace Quarlen::Tests {

char stateOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(status, text);
    return text.at(text.rfind(')') + 2);
}

char waitUntilItWaits(pid_t process) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    char state = 'R';
    while ((state == 'R' || state == 'D') && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
        state = stateOf(process);
    }
    return state;
}

} // namespace Quarlen::Tests
