#pragma once

#include <string_view>

namespace Quarlen::Platform::Tests {

/// What the child processes of the key reader's tests do, and what is asked about them.

constexpr int endOfInput = 77;

/// On standard output, at once. Safe in a signal handler.
void show(std::string_view text);

/// Shows every key as a number until q comes (0) or the input ends (`endOfInput`).
int showKeys();

/// `status` is as `waitpid` gives it.
bool endedWith(int status, int code);

} // namespace Quarlen::Platform::Tests
