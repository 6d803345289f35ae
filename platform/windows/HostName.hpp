#pragma once

#include <functional>
#include <span>
#include <string>

namespace Quarlen::Platform {

/// Writes the computer's name with its zero; false when it is not given.
using HostNameQuery = std::function<bool(std::span<wchar_t> name)>;

/// The name of the first of the two that gives one; the first may be empty.
std::wstring hostNameFrom(const HostNameQuery& winsock, const HostNameQuery& computer);

} // namespace Quarlen::Platform
