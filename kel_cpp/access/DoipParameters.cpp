#include "kel_cpp/access/DoipParameters.hpp"

#include <cstdint>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/InterfaceParameters.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

template <class Number>
void takeNumber(Number& target, const InterfaceEntry& entry, const NumberParameter& parameter) {
    target = static_cast<Number>(
        interfaceNumber(entry, parameter).value_or(static_cast<std::uint64_t>(target)));
}

void checkTexts(const InterfaceEntry& entry) {
    for (const auto& [name, fits, expected] : doipTexts) {
        const std::wstring text = interfaceText(entry, name);
        if (!text.empty() && !fits(text)) {
            throw runtimeError(ErrorCode::Configuration,
                               L"interface " + inQuotes(entry.name) + L": parameter " +
                                   inQuotes(Platform::fromUtf8(name)) + L" is " + inQuotes(text) +
                                   L", expected " + expected);
        }
    }
}

} // namespace

Doip::DoipSettings doipSettings(const InterfaceEntry& entry) {
    Doip::DoipSettings settings;
    settings.host = Platform::toUtf8(interfaceText(entry, "host"));
    takeNumber(settings.port, entry, doipNumbers[0]);
    takeNumber(settings.tester, entry, doipNumbers[1]);
    takeNumber(settings.activation, entry, doipNumbers[2]);
    checkTexts(entry);
    settings.vin = Platform::toUtf8(interfaceText(entry, "vin"));
    settings.eid = Doip::entityIdFrom(interfaceText(entry, "eid"));
    settings.onNote = [](const std::wstring& text) {
        StdUtil::TraceHelper::InfoTrace(L"kel_cpp/access/DoipParameters", __LINE__, L"%s",
                                        text.c_str());
    };
    return settings;
}

} // namespace Quarlen::Kel_cpp
