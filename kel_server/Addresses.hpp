#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kel_server_lib/runtime/KelApi.hpp"
#include "platform/NetworkAdapters.hpp"
#include "std_util/FileTool.hpp"

namespace Quarlen {

/// "address:port"; a URL that begins with "http://" or "https://" stays as it is.
std::wstring composeServerAddress(const std::wstring& address, std::int32_t port);

/// Replaces "$$BROKERURL$$" and "$$HOSTNAME$$". The host name is fetched only when it is needed.
void substitutePlaceholders(std::wstring& address, const std::wstring& brokerUrl,
                            const std::function<std::wstring()>& hostName);

/// The IPv4 address of the network adapter that people call `name`; empty when there is none (yet).
std::wstring resolveAdapterAddress(
    const std::wstring& name,
    const std::function<std::vector<Platform::NetworkAdapter>()>& networkAdapters);

/// The number at the text's beginning: blanks, a sign, digits, anything. No digits give 0; a number
/// beyond 32 bits gives the nearest limit.
std::int32_t leadingInteger(std::wstring_view text);

/// The whole file; throws `std::system_error` when it cannot be read.
using FileReader = std::function<std::string(const StdUtil::PathString&)>;

/// The text of the broker URL file where that is configured and not empty (whole, as UTF-8), else
/// the configured value. Throws `KelApiException` when the file cannot be read.
std::wstring resolveBrokerUrl(Kel_cpp::KelApi& facade,
                              const FileReader& readFile = StdUtil::FileTool::readFile);

} // namespace Quarlen
