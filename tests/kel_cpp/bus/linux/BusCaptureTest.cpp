#include "kel_cpp/bus/BusCapture.hpp"

#include <csignal>
#include <sys/resource.h>

#include <gmock/gmock.h>

#include "tests/support/HexBytes.hpp"
#include "tests/support/KeptBusEvent.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// As on a disk that is full then, no file of this process grows beyond so many bytes.
class DiskWithRoomFor {
public:
    explicit DiskWithRoomFor(std::size_t bytes) : formerHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &former);
        const rlimit limit{bytes, former.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    DiskWithRoomFor(const DiskWithRoomFor&) = delete;
    DiskWithRoomFor& operator=(const DiskWithRoomFor&) = delete;
    ~DiskWithRoomFor() {
        ::setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerHandler);
    }

private:
    void (*formerHandler)(int);
    rlimit former{};
};

} // namespace

/// A packet that is missing in the middle would show an exchange that never was.
TEST(BusCaptureOnAFullDisk, EndsWithOneTraceAndDoesNotGoOnLater) {
    const Quarlen::Tests::TemporaryFolder folder;
    BusCapture capture(folder.path());
    const Quarlen::Tests::KeptBusEvent event(Uds::BusEvent::Kind::Request, {L"LINK"},
                                             Quarlen::Tests::hex("3E 00"));
    const std::size_t size = folder.read("bus.pcapng").size();
    const Quarlen::Tests::TraceCapture traces;
    {
        const DiskWithRoomFor full(size);
        capture.take(event);
        capture.take(event);
    }
    capture.take(event);

    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_THAT(traces.lines()[0].text, testing::StartsWith(L"the capture of the bus ends: "));
    EXPECT_EQ(folder.read("bus.pcapng").size(), size);
}

} // namespace Quarlen::Kel_cpp::Tests
