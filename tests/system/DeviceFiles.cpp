#include "tests/system/DeviceFiles.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sched.h>
#include <string_view>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "tests/support/linux/Process.hpp"

namespace Quarlen::Tests {

namespace {

using Clock = std::chrono::steady_clock;

static_assert(FileEvents::writes == IN_CLOSE_WRITE && FileEvents::reads == IN_ACCESS);

std::string failure(const std::string& operation) {
    return operation + ": " + std::generic_category().message(errno);
}

int checked(int result, const char* operation) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
    return result;
}

std::string enterOnce() {
    if (::unshare(CLONE_NEWNS) != 0) {
        return failure("a mount namespace of its own");
    }
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return failure("private mounts");
    }
    for (const char* const folder : {"/sys/class", "/sys/bus"}) {
        if (::mount("none", folder, "tmpfs", 0, nullptr) != 0) {
            return failure(std::string("a file system at ") + folder);
        }
    }
    return {};
}

void makeFile(const std::filesystem::path& file, const std::string& content) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << content;
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

std::string enterDeviceNamespace() {
    static const std::string obstacle = enterOnce();
    return obstacle;
}

DeviceFiles::DeviceFiles() {
    for (const char* const colour : {"red", "green", "blue"}) {
        makeFile(brightness(colour), "0");
    }
    for (const int number : {0, 1}) {
        makeFile(sensor(number), "01000\n");
    }
}

std::filesystem::path DeviceFiles::sensor(int number) {
    return "/sys/bus/iio/devices/iio:device1/in_proximity" + std::to_string(number) + "_raw";
}

std::filesystem::path DeviceFiles::brightness(const std::string& colour) {
    return "/sys/class/leds/2." + colour + "/brightness";
}

void DeviceFiles::setReading(int sensorNumber, int reading) {
    constexpr std::size_t digits = 5;
    const std::string number = std::to_string(reading);
    setLine(sensorNumber, std::string(digits - number.size(), '0') + number);
}

void DeviceFiles::setLine(int sensorNumber, const std::string& line) {
    const std::string content = line + "\n";
    const int file = checked(::open(sensor(sensorNumber).c_str(), O_WRONLY | O_CLOEXEC), "open");
    checked(static_cast<int>(::write(file, content.data(), content.size())), "write");
    ::close(file);
}

std::string DeviceFiles::led() {
    return contentOf(brightness("red")) + ' ' + contentOf(brightness("green")) + ' ' +
           contentOf(brightness("blue"));
}

bool DeviceFiles::waitForLed(const std::string& colour) {
    constexpr std::chrono::milliseconds pollInterval{5};
    const auto end = Clock::now() + Process::patience;
    while (led() != colour) {
        if (Clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(pollInterval);
    }
    return true;
}

FileEvents::FileEvents(const std::filesystem::path& file, std::uint32_t kind)
    : kind(kind), descriptor(checked(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "inotify_init1")) {
    // Equal events in a row are told as one: two ends of writing would be, without the change
    // between them. An end without a change is that of one that came before the watch.
    const std::uint32_t told = kind == writes ? kind | IN_MODIFY : kind;
    checked(::inotify_add_watch(descriptor, file.c_str(), told), "inotify_add_watch");
}

FileEvents::~FileEvents() {
    ::close(descriptor);
}

/// Often enough that hardly two events are told as one, and that a hand can be taken away between
/// two readings.
bool FileEvents::waitFor(unsigned wanted) {
    constexpr std::chrono::milliseconds pollInterval{5};
    const auto begin = Clock::now();
    for (auto asked = begin; count() < wanted; asked = Clock::now()) {
        missing = asked;
        if (asked - begin >= Process::patience) {
            return false;
        }
        std::this_thread::sleep_for(pollInterval);
    }
    return true;
}

unsigned FileEvents::count() {
    std::array<char, 4096> buffer{};
    const auto length = ::read(descriptor, buffer.data(), buffer.size());
    for (std::size_t at = 0; length > 0 && at < static_cast<std::size_t>(length);) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof(event));
        changed = changed || kind != writes || (event.mask & IN_MODIFY) != 0;
        if (changed && (event.mask & kind) != 0) {
            ++seen;
            changed = false;
        }
        at += sizeof(event) + event.len;
    }
    return seen;
}

} // namespace Quarlen::Tests
