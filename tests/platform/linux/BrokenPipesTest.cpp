#include "platform/BrokenPipes.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/platform/linux/TerminalChild.hpp"

namespace Quarlen::Platform::Tests {

namespace {

TEST(BrokenPipes, AreFailedWritesAndDoNotEndTheProcess) {
    EXPECT_EQ(runWithInput(STDIN_FILENO,
                           [] {
                               surviveBrokenPipes();
                               std::array<int, 2> ends{};
                               if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
                                   return 1;
                               }
                               ::close(ends[0]);
                               const bool failed = ::write(ends[1], "x", 1) < 0;
                               return failed && errno == EPIPE ? 0 : 2;
                           }),
              0);
}

} // namespace

} // namespace Quarlen::Platform::Tests
