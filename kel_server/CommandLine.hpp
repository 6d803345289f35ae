#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/Console.hpp"

namespace Quarlen {

namespace Kel_cpp {
class KelApi;
}

/// What the command line asks for.
struct StartOptions {
    static constexpr std::size_t maxArguments = 10;

    /// Wait before the application is built, for a start that follows a restart request.
    bool delayedStart = false;
    /// No keyboard thread.
    bool nonInteractive = false;
    /// Kept for embedding callers; no start-up step reads it.
    bool dbus = false;
    bool rest = false;
    bool sovd = false;
    /// Positional arguments, the program path included.
    std::uint32_t argumentCount = 0;
    /// Banner, shutdown line and REST console lines. No option changes it.
    bool verbose = true;
    /// A facade that an embedding caller has initialised and whose servers it starts itself.
    std::shared_ptr<Kel_cpp::KelApi> presetFacade;
    /// Each positional argument stands at the index that it has on the command line.
    std::array<std::wstring, maxArguments> arguments;
};

enum class CommandLineResult : int { GoOn = 0, UsageShown = 1 };

/// An option counts wherever its word stands inside an argument, the program path included.
/// Positional arguments at index 10 and above are ignored.
CommandLineResult parseCommandLine(StartOptions& options, int argc, const wchar_t* const argv[],
                                   Platform::Console& console = Platform::standardConsole());

} // namespace Quarlen
