#pragma once

#include <stdexcept>
#include <string>

#include "tools/kelctl/base/ExitCode.hpp"

namespace Quarlen::Ctl {

/// Ends a command: what the person reads, UTF-8, and the exit code of the program.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& text) : std::runtime_error(text), exitCode(code) {}

    [[nodiscard]] ExitCode code() const noexcept { return exitCode; }

private:
    ExitCode exitCode;
};

} // namespace Quarlen::Ctl
