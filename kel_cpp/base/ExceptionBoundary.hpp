#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace Quarlen::Kel_cpp {

/// For messages: the name between double quotes.
std::wstring inQuotes(std::wstring_view name);

/// Text of the exception that is being handled. Only inside a catch block.
std::wstring currentExceptionText();

/// Rethrows the exception that is being handled: a `KelApiException` unchanged, any other one as a
/// `KelApiException` that names the operation and the cause. Only inside a catch block.
[[noreturn]] void throwAsKelApiException(const wchar_t* operation);

/// Runs an operation of the facade; nothing but `KelApiException` leaves it.
template <class Body>
auto guarded(const wchar_t* operation, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        throwAsKelApiException(operation);
    }
}

} // namespace Quarlen::Kel_cpp
