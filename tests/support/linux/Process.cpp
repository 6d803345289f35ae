#include "tests/support/linux/Process.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include "tests/support/linux/ProcessState.hpp"

namespace Quarlen::Tests {

namespace {

using Clock = std::chrono::steady_clock;

int checked(int result, const char* operation) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
    return result;
}

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

std::vector<char*> argumentPointers(std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// Forks and executes the program with these descriptors for its input and its output.
/// Between fork and exec only async-signal-safe functions are called.
pid_t launch(const ProcessStart& start, int input, int output) {
    std::vector<std::string> arguments{start.program.string()};
    arguments.insert(arguments.end(), start.arguments.begin(), start.arguments.end());
    const auto pointers = argumentPointers(arguments);
    const pid_t child = checked(::fork(), "fork");
    if (child == 0) {
        ::setsid();
        if (start.stdio == Stdio::Terminal) {
            ::ioctl(input, TIOCSCTTY, 0);
        }
        ::dup2(input, STDIN_FILENO);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
        ::execv(pointers.front(), pointers.data());
        ::_exit(127);
    }
    return child;
}

/// A terminal puts a return before each line end; it is taken away again, so that what the program
/// has written is left.
void appendWritten(std::string& received, std::string_view bytes, bool isTerminal) {
    for (const char byte : bytes) {
        if (isTerminal && byte == '\n' && received.ends_with('\r')) {
            received.pop_back();
        }
        received += byte;
    }
}

Process::Milliseconds remaining(Clock::time_point end) {
    return std::max(std::chrono::duration_cast<Process::Milliseconds>(end - Clock::now()),
                    Process::Milliseconds(0));
}

int exitCodeOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace

Process::Process(const ProcessStart& start) {
    if (start.stdio == Stdio::Terminal) {
        startOnTerminal(start);
    } else {
        startOnPipes(start);
    }
}

Process::~Process() {
    if (process > 0 && !exitCode) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    closeInput();
    closeDescriptor(outputDescriptor);
}

void Process::startOnTerminal(const ProcessStart& start) {
    outputDescriptor = checked(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
    checked(::grantpt(outputDescriptor), "grantpt");
    checked(::unlockpt(outputDescriptor), "unlockpt");
    inputDescriptor = checked(::fcntl(outputDescriptor, F_DUPFD_CLOEXEC, 0), "dup");
    int terminal =
        checked(::open(::ptsname(outputDescriptor), O_RDWR | O_NOCTTY | O_CLOEXEC), "open");
    process = launch(start, terminal, terminal);
    closeDescriptor(terminal);
}

void Process::startOnPipes(const ProcessStart& start) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    checked(::pipe2(input.data(), O_CLOEXEC), "pipe2");
    checked(::pipe2(output.data(), O_CLOEXEC), "pipe2");
    process = launch(start, input[0], output[1]);
    closeDescriptor(input[0]);
    closeDescriptor(output[1]);
    inputDescriptor = input[1];
    outputDescriptor = output[0];
}

void Process::type(std::string_view keys) {
    checked(static_cast<int>(::write(inputDescriptor, keys.data(), keys.size())), "write");
}

void Process::typeSignalKey(char key) {
    pid_t job = 0;
    checked(::ioctl(inputDescriptor, TIOCGPGRP, &job), "TIOCGPGRP");
    waitUntilItWaits(job);
    type({&key, 1});
}

void Process::closeInput() {
    closeDescriptor(inputDescriptor);
}

void Process::closeOutput() {
    closeDescriptor(outputDescriptor);
}

std::size_t Process::kibibytes(const std::string& name) const {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stoul(line.substr(name.size() + 1));
        }
    }
    throw std::runtime_error("the program's status has no " + name);
}

void Process::sendSignal(int number) const {
    waitUntilItWaits(process);
    checked(::kill(process, number), "kill");
}

bool Process::waitForOutput(std::string_view text, Milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    while (received.find(text) == std::string::npos) {
        if (outputEnded() || Clock::now() >= end) {
            return false;
        }
        receive(remaining(end));
    }
    return true;
}

std::optional<int> Process::waitForExit(Milliseconds deadline) {
    constexpr Milliseconds pollInterval{10};
    const auto end = Clock::now() + deadline;
    while (!exitCode) {
        int status = 0;
        if (checked(::waitpid(process, &status, WNOHANG), "waitpid") == process) {
            exitCode = exitCodeOf(status);
        } else if (Clock::now() >= end) {
            return std::nullopt;
        } else {
            receive(pollInterval);
        }
    }
    while (!outputEnded() && Clock::now() < end) {
        receive(remaining(end));
    }
    return exitCode;
}

bool Process::terminalIsInLineMode() const {
    termios mode{};
    checked(::tcgetattr(inputDescriptor, &mode), "tcgetattr");
    return (mode.c_lflag & ICANON) != 0 && (mode.c_lflag & ECHO) != 0;
}

void Process::receive(Milliseconds wait) {
    pollfd descriptor{outputDescriptor, POLLIN, 0};
    if (::poll(&descriptor, outputEnded() ? 0 : 1, static_cast<int>(wait.count())) <= 0) {
        return;
    }
    std::array<char, 4096> bytes{};
    const auto count = ::read(outputDescriptor, bytes.data(), bytes.size());
    if (count > 0) {
        appendWritten(received, {bytes.data(), static_cast<std::size_t>(count)},
                      ::isatty(outputDescriptor) == 1);
    } else if (count == 0 || errno != EINTR) {
        // A terminal whose last user has gone reports an error instead of an end.
        closeDescriptor(outputDescriptor);
    }
}

} // namespace Quarlen::Tests
