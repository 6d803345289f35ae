#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "doip/Payloads.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The parameters of an interface that say for how long its control units may be silent, in
/// milliseconds, and their highest values: P2client, P2*client and delta P2 of ISO 14229-2:2021
/// (clause 7.2). The last is added to the times that a control unit tells itself.
inline constexpr std::array<std::pair<const char*, std::uint64_t>, 3> interfaceTimes{
    {{"p2", 60'000}, {"p2Star", 600'000}, {"deltaP2", 60'000}}};

/// The vehicle of the vehicle file, and a vehicle over Ethernet (ISO 13400-2).
inline constexpr const wchar_t* simulationName = L"Simulation";
inline constexpr const wchar_t* doipName = L"DoIP";

/// A parameter of an interface that is a number.
struct NumberParameter {
    const char* name = "";
    std::uint64_t min = 0;
    std::uint64_t max = 0;
};

/// Those of the interface "DoIP" (ISO 13400-2:2019, table 13 and table 47).
inline constexpr std::array<NumberParameter, 3> doipNumbers{
    {{"port", 1, 65'535},
     {"testerAddress", Doip::firstTesterAddress, Doip::lastTesterAddress},
     {"activation", 0, 255}}};

/// A parameter of an interface that is a text of a certain form.
struct TextParameter {
    const char* name = "";
    bool (*fits)(const std::wstring& text) = nullptr;
    const wchar_t* expected = L"";
};

/// A vehicle identification number: 17 capital letters and digits (ISO 3779).
[[nodiscard]] bool isVin(const std::wstring& text);
[[nodiscard]] bool isEntityId(const std::wstring& text);

/// Those of the interface "DoIP"; an empty text is none.
inline constexpr std::array<TextParameter, 2> doipTexts{
    {{"vin", isVin, L"17 capital letters and digits"},
     {"eid", isEntityId, L"six pairs of hexadecimal digits with colons between them"}}};

/// The text of a parameter; empty when the interface does not have it.
[[nodiscard]] std::wstring interfaceText(const InterfaceEntry& entry, const char* parameter);

/// Empty when the interface does not have the parameter. Throws `KelApiException` (code
/// Configuration) for a value that is no number from `min` to `max`.
[[nodiscard]] std::optional<std::uint64_t> interfaceNumber(const InterfaceEntry& entry,
                                                           const NumberParameter& parameter);

/// Empty when the interface does not have the parameter. Throws `KelApiException` (code
/// Configuration) for a value that is no number from 1 to `max`.
[[nodiscard]] std::optional<std::chrono::milliseconds>
interfaceTime(const InterfaceEntry& entry, const char* parameter, std::uint64_t max);

} // namespace Quarlen::Kel_cpp
