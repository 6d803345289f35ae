#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Quarlen::Platform {

/// What the program gets as a service: its arguments without "--service", and "--non_interactive"
/// at the end, because nobody can press a key. None where it is not asked to be one.
std::optional<std::vector<std::wstring>> serviceArguments(std::vector<std::wstring> arguments);

} // namespace Quarlen::Platform
