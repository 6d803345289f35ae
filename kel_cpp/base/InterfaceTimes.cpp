#include "kel_cpp/base/InterfaceTimes.hpp"

#include <algorithm>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "xml/File.hpp"

namespace Quarlen::Kel_cpp {

std::optional<std::chrono::milliseconds> interfaceTime(const InterfaceEntry& entry,
                                                       const char* parameter, std::uint64_t max) {
    const std::wstring name = Platform::fromUtf8(parameter);
    const auto found = std::find_if(entry.parameters.begin(), entry.parameters.end(),
                                    [&](const auto& each) { return each.first == name; });
    if (found == entry.parameters.end()) {
        return {};
    }
    const auto time = Xml::numberIn(Platform::toUtf8(found->second), 1, max);
    if (!time) {
        throw runtimeError(ErrorCode::Configuration,
                           L"interface " + inQuotes(entry.name) + L": parameter " + inQuotes(name) +
                               L" is " + inQuotes(found->second) +
                               L", expected a number from 1 to " + std::to_wstring(max));
    }
    return std::chrono::milliseconds(*time);
}

} // namespace Quarlen::Kel_cpp
