#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <termios.h>

namespace Quarlen::Platform::Tests {

/// A child process whose standard input and output are a terminal, and the other side of that
/// terminal: what a person types and sees. The child is ended with the object.
class TerminalChild {
public:
    enum class Session { Shared, Own };

    /// `body` runs in the child; what it returns is the exit code. With a session of its own the
    /// child leads it and the terminal controls its jobs.
    explicit TerminalChild(const std::function<int()>& body, Session session = Session::Shared);
    TerminalChild(const TerminalChild&) = delete;
    TerminalChild& operator=(const TerminalChild&) = delete;
    ~TerminalChild();

    /// Everything shown so far, once it ends with `text` or nothing more comes.
    const std::string& waitForOutput(std::string_view text);
    void type(std::string_view keys) const;
    void hangUp();
    /// Until the process waits for something.
    void waitUntilItWaits() const;
    /// Once the process waits.
    void send(int signal) const;

    /// To the job that has the terminal.
    void signalForeground(int signal) const;

    /// Until neither echo nor line mode is on. False when that takes too long.
    [[nodiscard]] bool waitForKeyMode() const;
    /// Echo or line mode is on.
    [[nodiscard]] bool isInLineMode() const;
    [[nodiscard]] bool hasItsFirstMode() const;

    /// As `waitpid` gives it.
    int waitForEnd();

private:
    [[nodiscard]] termios mode() const;

    pid_t child = -1;
    int screen = -1;
    int terminal = -1;
    termios firstMode{};
    std::string output;
};

/// Runs `body` in a child process with `input` as standard input and gives its exit code.
int runWithInput(int input, const std::function<int()>& body);

} // namespace Quarlen::Platform::Tests
