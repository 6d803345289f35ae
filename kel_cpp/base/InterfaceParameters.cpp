#include "kel_cpp/base/InterfaceParameters.hpp"

#include <algorithm>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "xml/File.hpp"

namespace Quarlen::Kel_cpp {

namespace {

const std::wstring* valueOf(const InterfaceEntry& entry, const char* parameter) {
    const std::wstring name = Platform::fromUtf8(parameter);
    const auto found = std::find_if(entry.parameters.begin(), entry.parameters.end(),
                                    [&](const auto& each) { return each.first == name; });
    return found == entry.parameters.end() ? nullptr : &found->second;
}

} // namespace

bool isVin(const std::wstring& text) {
    return text.size() == Doip::vinLength &&
           std::all_of(text.begin(), text.end(), [](wchar_t each) {
               return (each >= L'0' && each <= L'9') || (each >= L'A' && each <= L'Z');
           });
}

bool isEntityId(const std::wstring& text) {
    return Doip::entityIdFrom(text).has_value();
}

std::wstring interfaceText(const InterfaceEntry& entry, const char* parameter) {
    const std::wstring* const value = valueOf(entry, parameter);
    return value == nullptr ? std::wstring() : *value;
}

std::optional<std::uint64_t> interfaceNumber(const InterfaceEntry& entry,
                                             const NumberParameter& parameter) {
    const std::wstring* const value = valueOf(entry, parameter.name);
    if (value == nullptr) {
        return {};
    }
    const auto number = Xml::numberIn(Platform::toUtf8(*value), parameter.min, parameter.max);
    if (!number) {
        throw runtimeError(ErrorCode::Configuration,
                           L"interface " + inQuotes(entry.name) + L": parameter " +
                               inQuotes(Platform::fromUtf8(parameter.name)) + L" is " +
                               inQuotes(*value) + L", expected a number from " +
                               std::to_wstring(parameter.min) + L" to " +
                               std::to_wstring(parameter.max));
    }
    return number;
}

std::optional<std::chrono::milliseconds> interfaceTime(const InterfaceEntry& entry,
                                                       const char* parameter, std::uint64_t max) {
    const auto number = interfaceNumber(entry, {parameter, 1, max});
    return number ? std::optional(std::chrono::milliseconds(*number)) : std::nullopt;
}

} // namespace Quarlen::Kel_cpp
