#include "platform/linux/DescriptorOutput.hpp"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <pty.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Answers writes from a list: a count, or a negative error number. An empty list takes everything.
class ScriptedFile {
public:
    OutputCalls calls() {
        return {
            .write = [this](int, const void* text, std::size_t size) { return write(text, size); },
            .poll = [this](pollfd*, nfds_t, int wait) { return poll(wait); },
            .getMode = [](int, termios*) { return -1; }};
    }

    std::vector<int> answers;
    /// Of the waits for room: 1 found it, 0 did not in time, -1 was interrupted.
    int found = 0;
    std::string written;
    std::vector<int> waits;

private:
    ssize_t write(const void* text, std::size_t size) {
        const int answer = answers.empty() ? static_cast<int>(size) : answers.front();
        if (!answers.empty()) {
            answers.erase(answers.begin());
        }
        if (answer < 0) {
            errno = -answer;
            return -1;
        }
        written.append(static_cast<const char*>(text), static_cast<std::size_t>(answer));
        return answer;
    }

    int poll(int wait) {
        waits.push_back(wait);
        errno = EINTR;
        return found;
    }
};

class DescriptorOutputOf : public testing::Test {
protected:
    std::string writtenAfter(std::vector<int> answers, const std::string& text) {
        file.answers = std::move(answers);
        file.written.clear();
        output.write(text);
        return file.written;
    }

    ScriptedFile file;
    DescriptorOutput output{7, file.calls()};
};

TEST_F(DescriptorOutputOf, ASlowFileWritesEveryPart) {
    EXPECT_EQ(writtenAfter({1, -EINTR, 2}, "abcdef"), "abcdef");
}

TEST_F(DescriptorOutputOf, AFailingFileTriesTheNextTextAgain) {
    EXPECT_EQ(writtenAfter({2, -EIO}, "lost"), "lo");
    EXPECT_EQ(writtenAfter({}, "next"), "next");
    EXPECT_THAT(file.waits, IsEmpty());
}

TEST_F(DescriptorOutputOf, AFileThatTakesNothingIsNotTriedForEver) {
    EXPECT_EQ(writtenAfter({0}, "lost"), "");
}

TEST_F(DescriptorOutputOf, AFullPipeWaitsForRoom) {
    file.found = 1;
    EXPECT_EQ(writtenAfter({1, -EAGAIN, 1, -EAGAIN}, "text"), "text");
    EXPECT_THAT(file.waits, ElementsAre(1000, 1000));
}

TEST_F(DescriptorOutputOf, AFullPipeGivesTheTextUpInTime) {
    file.found = 1;
    EXPECT_EQ(writtenAfter({-EAGAIN, -EAGAIN}, "lost"), "");
    EXPECT_EQ(file.waits.size(), 1U);
}

TEST_F(DescriptorOutputOf, AFullPipeWaitsOnlyForAReaderThatReads) {
    EXPECT_EQ(writtenAfter({-EAGAIN}, "lost"), "");
    EXPECT_EQ(writtenAfter({-EAGAIN}, "lost"), "");
    EXPECT_EQ(file.waits.size(), 1U);

    EXPECT_EQ(writtenAfter({}, "taken"), "taken");
    EXPECT_EQ(writtenAfter({-EAGAIN}, "lost"), "");
    EXPECT_EQ(file.waits.size(), 2U);
}

TEST_F(DescriptorOutputOf, AFullPipeTriesAgainAfterASignal) {
    file.found = -1;
    EXPECT_EQ(writtenAfter({-EAGAIN}, "text"), "text");
}

/// The two ends of a pseudo terminal.
class PseudoTerminal {
public:
    PseudoTerminal() { opened = ::openpty(&screen, &terminal, nullptr, nullptr, nullptr) == 0; }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal() {
        ::close(screen);
        ::close(terminal);
    }

    void setOutputMode(const std::function<tcflag_t(tcflag_t)>& change) const {
        termios mode{};
        ::tcgetattr(terminal, &mode);
        mode.c_oflag = change(mode.c_oflag);
        ::tcsetattr(terminal, TCSANOW, &mode);
    }

    /// All that the screen gets of the text, perhaps in pieces.
    [[nodiscard]] std::string shown(std::string_view text) const {
        DescriptorOutput(terminal).write(text);
        constexpr char end = '$';
        EXPECT_EQ(::write(terminal, &end, 1), 1);
        std::string all;
        char byte = 0;
        while (read(byte) && byte != end) {
            all += byte;
        }
        EXPECT_EQ(byte, end);
        return all;
    }

    bool opened = false;
    int screen = -1;
    int terminal = -1;

private:
    [[nodiscard]] bool read(char& byte) const {
        constexpr int patience = 100'000;
        pollfd waiting{.fd = screen, .events = POLLIN, .revents = 0};
        return ::poll(&waiting, 1, patience) == 1 && ::read(screen, &byte, 1) == 1;
    }
};

constexpr auto newLineFlag = static_cast<tcflag_t>(ONLCR);
constexpr auto processingFlag = static_cast<tcflag_t>(OPOST);

TEST(DescriptorOutput, BeginsNewLinesOnATerminalOfEveryMode) {
    const PseudoTerminal terminal;
    ASSERT_TRUE(terminal.opened);
    EXPECT_EQ(terminal.shown("one\ntwo\r\n"), "one\r\ntwo\r\r\n"); // the terminal's own doing

    terminal.setOutputMode([](tcflag_t mode) { return mode & ~newLineFlag; });
    EXPECT_EQ(terminal.shown("one\ntwo\r\n"), "one\r\ntwo\r\n");

    terminal.setOutputMode([](tcflag_t mode) { return (mode | newLineFlag) & ~processingFlag; });
    EXPECT_EQ(terminal.shown("one\ntwo\r\n"), "one\r\ntwo\r\n");
}

TEST(DescriptorOutput, IsAScreenOnATerminalOnly) {
    const PseudoTerminal terminal;
    ASSERT_TRUE(terminal.opened);
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);

    EXPECT_TRUE(DescriptorOutput(terminal.terminal).isScreen());
    EXPECT_FALSE(DescriptorOutput(pipe[1]).isScreen());

    ::close(pipe[0]);
    ::close(pipe[1]);
}

TEST(DescriptorOutput, IsWrittenAgainOnceAFullPipeHasRoom) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_NONBLOCK), 0);
    OutputCalls impatient;
    impatient.poll = [](pollfd*, nfds_t, int) { return 0; };
    DescriptorOutput output(pipe[1], impatient);
    output.write(
        std::string(std::size_t{1024} * 1024, 'x')); // more than any pipe of this kind holds
    std::array<char, 4096> bytes{};
    while (::read(pipe[0], bytes.data(), bytes.size()) > 0) {
    }

    output.write("next\n");

    EXPECT_EQ(::read(pipe[0], bytes.data(), bytes.size()), 5);
    EXPECT_EQ(std::string_view(bytes.data(), 5), "next\n");
    ::close(pipe[0]);
    ::close(pipe[1]);
}

} // namespace

} // namespace Quarlen::Platform::Tests
