#pragma once

#include <filesystem>

namespace Quarlen::Tests {

/// The example configuration in the source tree. Tests that write work on a copy.
std::filesystem::path examplesFolder();

/// The flash files that go with it, made with the program.
std::filesystem::path flashDataFolder();

} // namespace Quarlen::Tests
