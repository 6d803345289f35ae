#include "platform/StandardStreams.hpp"

#include <array>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/platform/linux/TerminalChild.hpp"

namespace Quarlen::Platform::Tests {

namespace {

bool isTheEmptyDevice(int stream) {
    struct stat found {};
    struct stat empty {};
    return ::fstat(stream, &found) == 0 && ::stat("/dev/null", &empty) == 0 &&
           found.st_rdev == empty.st_rdev && found.st_mode == empty.st_mode;
}

class MissingStream : public testing::TestWithParam<std::array<bool, 3>> {};

TEST_P(MissingStream, IsEmptyAndItsNumberIsTaken) {
    const auto missing = GetParam();
    const int result = runWithInput(STDIN_FILENO, [&missing] {
        std::array<int, 2> ends{};
        static_cast<void>(::pipe(ends.data()));
        for (int stream = 0; stream < 3; ++stream) {
            ::dup2(ends[1], stream);
            if (missing[static_cast<std::size_t>(stream)]) {
                ::close(stream);
            }
        }
        openMissingStandardStreams();
        for (int stream = 0; stream < 3; ++stream) {
            if (isTheEmptyDevice(stream) != missing[static_cast<std::size_t>(stream)]) {
                return 1 + stream;
            }
        }
        return ::open("/dev/zero", O_RDONLY | O_CLOEXEC) > STDERR_FILENO ? 0 : 10;
    });
    EXPECT_EQ(result, 0);
}

INSTANTIATE_TEST_SUITE_P(Streams, MissingStream,
                         testing::Values(std::array{true, false, false},
                                         std::array{false, true, false},
                                         std::array{false, false, true},
                                         std::array{true, true, true},
                                         std::array{false, false, false}));

TEST(StandardStreams, CanBeReadToTheirEndAndWrittenTo) {
    EXPECT_EQ(runWithInput(STDIN_FILENO,
                           [] {
                               ::close(STDIN_FILENO);
                               ::close(STDOUT_FILENO);
                               openMissingStandardStreams();
                               char letter = 0;
                               const bool ended = ::read(STDIN_FILENO, &letter, 1) == 0;
                               return ended && ::write(STDOUT_FILENO, "x", 1) == 1 ? 0 : 1;
                           }),
              0);
}

} // namespace

} // namespace Quarlen::Platform::Tests
