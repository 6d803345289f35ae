#include "kel_server_lib/sequence/ButtonWorker.hpp"

#include <array>
#include <sys/inotify.h>
#include <unistd.h>

#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

/// Notices that a file has been read.
class ReadWatch {
public:
    explicit ReadWatch(const std::filesystem::path& file) {
        inotify_add_watch(descriptor, file.c_str(), IN_ACCESS);
    }
    ReadWatch(const ReadWatch&) = delete;
    ReadWatch& operator=(const ReadWatch&) = delete;
    ~ReadWatch() { close(descriptor); }

    [[nodiscard]] bool hasBeenRead() const {
        std::array<char, 4096> events{};
        return read(descriptor, events.data(), events.size()) > 0;
    }

private:
    int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

class ButtonWorkerOnLinux : public SequenceFixture {};

TEST_F(ButtonWorkerOnLinux, ReadsItsSensorOnceBeforeItLooksAtTheStop) {
    writeF1Sensor("1000\n");
    const ReadWatch sensor(folder.path() / "f1");
    handler.raiseStop();

    buttonWorker(handler, 1);

    EXPECT_TRUE(sensor.hasBeenRead());
}

} // namespace Quarlen::Tests
