#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace Quarlen::Tests {

/// What the program's standard input and output are connected to.
enum class Stdio {
    /// A pseudo terminal with echo and line mode, its controlling one. Line ends are not changed.
    Terminal,
    Pipes,
};

struct ProcessStart {
    std::filesystem::path program;
    std::vector<std::string> arguments;
    Stdio stdio = Stdio::Terminal;
};

/// A running program. What still runs when the object goes is killed.
class Process {
public:
    using Milliseconds = std::chrono::milliseconds;
    /// Long enough for a busy machine and a build with sanitizers.
    static constexpr Milliseconds patience{60000};

    /// Throws `std::system_error`.
    explicit Process(const ProcessStart& start);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    void type(std::string_view keys);
    /// Types a key that the terminal turns into a signal, once the job in its foreground waits.
    void typeSignalKey(char key);
    void closeInput();
    /// From now on the program's output has no reader.
    void closeOutput();
    /// Once the program waits.
    void sendSignal(int number) const;
    /// The program's process, as the system numbers it.
    [[nodiscard]] pid_t id() const { return process; }

    /// False when the program ended, or fell silent until the deadline, without printing `text`.
    bool waitForOutput(std::string_view text, Milliseconds deadline = patience);
    /// The exit code, the negative signal number that ended it, nothing while it runs.
    std::optional<int> waitForExit(Milliseconds deadline = patience);
    /// A figure of the program's memory by its name in Linux's /proc/PID/status.
    [[nodiscard]] std::size_t kibibytes(const std::string& name) const;
    /// Standard output and standard error so far.
    [[nodiscard]] const std::string& output() const { return received; }
    /// True while the terminal shows what is typed and delivers whole lines.
    [[nodiscard]] bool terminalIsInLineMode() const;

private:
    void startOnTerminal(const ProcessStart& start);
    void startOnPipes(const ProcessStart& start);
    /// Reads what is there, waiting at most so long for it.
    void receive(Milliseconds wait);
    [[nodiscard]] bool outputEnded() const { return outputDescriptor < 0; }

    pid_t process = -1;
    int inputDescriptor = -1;
    int outputDescriptor = -1;
    std::string received;
    std::optional<int> exitCode;
};

} // namespace Quarlen::Tests
