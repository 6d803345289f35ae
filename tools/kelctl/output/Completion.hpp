#pragma once

#include <CLI/App.hpp>
#include <string>

namespace Quarlen::Ctl {

/// A script that completes the program's commands, options and fixed words in bash, made of the
/// commands themselves, so that it knows all of them.
std::string bashCompletion(const CLI::App& application);

/// The same for zsh, with what each word means.
std::string zshCompletion(const CLI::App& application);

} // namespace Quarlen::Ctl
