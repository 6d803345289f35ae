#include "platform/Console.hpp"

#include <atomic>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/CountingBuffer.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using Quarlen::Tests::CountingBuffer;

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

TEST(Console, EndsALineThatEndsAlready) {
    std::ostringstream stream;
    Console(stream).line("Usage\n");
    EXPECT_EQ(stream.str(), "Usage\n\n");
}

/// Keeps what had been written when it was flushed.
class FlushedBuffer : public std::stringbuf {
public:
    std::string flushed;

protected:
    int sync() override {
        flushed = str();
        return 0;
    }
};

TEST(Console, FlushesALineWithItsEnd) {
    FlushedBuffer buffer;
    std::ostream stream(&buffer);
    Console(stream).line("Idle");
    EXPECT_EQ(buffer.flushed, "Idle\n");
}

/// Notes when a thread writes while another one does.
class CrowdedBuffer : public std::streambuf {
public:
    std::atomic<bool> crowded{false};

protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
        if (inside.exchange(true)) {
            crowded = true;
        }
        for (int turn = 0; turn < 5; ++turn) {
            std::this_thread::yield();
        }
        inside = false;
        return size;
    }
    int_type overflow(int_type letter) override { return letter; }

private:
    std::atomic<bool> inside{false};
};

TEST(Console, LetsOneThreadWriteAtATime) {
    CrowdedBuffer buffer;
    std::ostream stream(&buffer);
    Console console(stream);
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&console, thread] {
            for (int count = 0; count < 200; ++count) {
                if (thread == 0) {
                    console.line("line");
                } else {
                    console.text("text");
                }
            }
        });
    }
    threads.clear();
    EXPECT_FALSE(buffer.crowded);
}

TEST(Console, DoesNotMixTheLinesOfSeveralThreads) {
    std::ostringstream stream;
    Console console(stream);
    const std::string line(100, 'x');
    std::vector<std::jthread> threads;
    threads.reserve(4);
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

/// Fails once.
class FailingBuffer : public std::stringbuf {
public:
    bool fails = true;

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        return std::exchange(fails, false) ? 0 : std::stringbuf::xsputn(text, size);
    }
};

TEST(Console, IsNotSilencedByAWriteThatFailed) {
    FailingBuffer buffer;
    std::ostream stream(&buffer);
    Console console(stream);
    console.line("lost");
    console.line("shown");
    EXPECT_EQ(buffer.str(), "shown\n");

    buffer.fails = true;
    console.text("lost");
    console.text("shown");
    EXPECT_EQ(buffer.str(), "shown\nshown");
}

TEST(Console, IsOneObjectForStandardOutput) {
    testing::internal::CaptureStdout();
    standardConsole().line("on standard output");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "on standard output\n");
    EXPECT_EQ(&standardConsole(), &standardConsole());
}

} // namespace

} // namespace Quarlen::Platform::Tests
