#include "platform/Console.hpp"

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/CountingBuffer.hpp"

using namespace Quarlen::Platform;
using Quarlen::Tests::CountingBuffer;

namespace {

TEST(Console, EndsAndFlushesALine) {
    CountingBuffer buffer;
    std::ostream stream(&buffer);
    Console(stream).line("Idle");
    EXPECT_EQ(buffer.str(), "Idle\n");
    EXPECT_EQ(buffer.flushes, 1);
}

TEST(Console, WritesATextAsItIsWithoutAFlush) {
    CountingBuffer buffer;
    std::ostream stream(&buffer);
    Console(stream).text("Enter 'q'\n");
    EXPECT_EQ(buffer.str(), "Enter 'q'\n");
    EXPECT_EQ(buffer.flushes, 0);
}

TEST(Console, KeepsEveryByteOfAText) {
    std::ostringstream stream;
    const std::string bytes("\r\n \0\xC3\xBC\t", 7);
    Console(stream).line(bytes);
    EXPECT_EQ(stream.str(), bytes + "\n");
}

TEST(Console, DoesNotMixTheLinesOfSeveralThreads) {
    std::ostringstream stream;
    Console console(stream);
    const std::string line(100, 'x');
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&console, &line] {
            for (int count = 0; count < 100; ++count) {
                console.line(line);
            }
        });
    }
    threads.clear();
    std::istringstream written(stream.str());
    std::vector<std::string> lines;
    for (std::string each; std::getline(written, each);) {
        lines.push_back(each);
    }
    EXPECT_EQ(lines.size(), 400U);
    EXPECT_THAT(lines, testing::Each(line));
}

TEST(Console, IsOneObjectForStandardOutput) {
    testing::internal::CaptureStdout();
    standardConsole().line("on standard output");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "on standard output\n");
    EXPECT_EQ(&standardConsole(), &standardConsole());
}

} // namespace
