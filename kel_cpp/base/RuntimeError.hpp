#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "kel_server_lib/runtime/KelApiException.hpp"
#include "xml/FileError.hpp"

namespace Quarlen::Kel_cpp {

/// Codes of the exceptions that the built-in runtime throws; listed in docs/formats.md.
enum class ErrorCode : std::int32_t {
    Internal = 1,
    Configuration = 10,
    Server = 20,
    UnknownProject = 30,
    NoProjectSelected = 31,
    UnknownVehicleInformation = 32,
    NoVehicleInformationSelected = 33,
    UnknownInterface = 40,
    NoInterfaceEnabled = 41,
    NotConnected = 42,
    UnknownLogicalLink = 43,
    Communication = 44,
    NegativeResponse = 45,
    UnknownService = 50,
    UnknownTarget = 51,
    TooManyJobs = 52,
    UnknownFlashItem = 60,
    Unlock = 70,
    Report = 80,
    Update = 90,
    Sovd = 100,
};

/// A `KelApiException` with one of the runtime's codes.
[[nodiscard]] inline KelApiException runtimeError(ErrorCode code, std::wstring message) {
    return KelApiException(std::move(message), static_cast<std::int32_t>(code));
}

/// Runs a function that reads or writes one of the runtime's XML files and converts an
/// `Xml::FileError` into a `KelApiException`.
template <class Body>
auto withFileErrors(Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const Xml::FileError& error) {
        throw runtimeError(ErrorCode::Configuration, error.message());
    }
}

} // namespace Quarlen::Kel_cpp
