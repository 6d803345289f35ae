#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace Quarlen::Doip::Tests {

/// Whether a thread of this process watches the socket together with others, as Linux tells it: the
/// information about each such watch has a line "tfd: 7 events: ...".
inline bool isWatched(std::intptr_t socket) {
    for (const auto& watch : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream information(watch.path());
        std::string name;
        std::intptr_t watched = -1;
        for (std::string line; information >> name; std::getline(information, line)) {
            if (name == "tfd:" && information >> watched && watched == socket) {
                return true;
            }
        }
    }
    return false;
}

} // namespace Quarlen::Doip::Tests
