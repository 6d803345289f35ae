#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tools/kel_vehicle/misbehaviour/Misbehaviour.hpp"

/// Misbehaviour as people write it, a command on each line: "refuse 36 code=0x72 at=5 times=1".
/// What each does is told in docs/how-to/use-a-vehicle-process.md.
namespace Quarlen::KelVehicle {

/// A line that is no command. The column counts from 1.
class CommandError : public std::runtime_error {
public:
    CommandError(std::size_t column, const std::string& cause)
        : std::runtime_error(cause), place(column) {}
    [[nodiscard]] std::size_t column() const noexcept { return place; }

private:
    std::size_t place;
};

/// Everything that was asked for is forgotten.
struct ClearMisbehaviours {};
using Command = std::variant<Misbehaviour, ClearMisbehaviours>;

/// Nothing for a line that is empty or a comment ("#" and what follows). Throws `CommandError`.
[[nodiscard]] std::optional<Command> parseCommand(std::string_view line);

struct CommandFile {
    std::vector<Command> commands{};
    /// "file:line:column: cause", a line for each mistake; the other lines count.
    std::vector<std::string> mistakes{};
};

/// Throws `std::runtime_error` with "file: cause" when it cannot be read.
[[nodiscard]] CommandFile readCommandFile(const std::filesystem::path& file);

} // namespace Quarlen::KelVehicle
