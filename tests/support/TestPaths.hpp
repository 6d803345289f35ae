#pragma once

#include <filesystem>

namespace Quarlen::Tests {

/// The example configuration in the source tree. Tests that write work on a copy.
std::filesystem::path examplesFolder();

/// The flash files that go with it, made with the program.
std::filesystem::path flashDataFolder();

/// The built program, as the machine that builds it knows it.
std::filesystem::path serverProgram();

} // namespace Quarlen::Tests
