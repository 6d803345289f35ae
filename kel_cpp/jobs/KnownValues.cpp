#include "kel_cpp/jobs/KnownValues.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cwchar>

namespace Quarlen::Kel_cpp {

namespace {

constexpr const wchar_t* celsius = L"\u00B0C";

/// A byte in percent of its range.
constexpr KnownValue percent(std::uint16_t id, const wchar_t* name) {
    return {id, name, 1, L"%", 100, 255};
}

/// A byte that begins at -40 degrees.
constexpr KnownValue temperature(std::uint16_t id, const wchar_t* name) {
    return {id, name, 1, celsius, 1, 1, -40};
}

/// A byte around 128, in percent.
constexpr KnownValue fuelTrim(std::uint16_t id, const wchar_t* name) {
    return {id, name, 1, L"%", 1000, 128, -1000, 1};
}

constexpr auto knownValues = std::to_array<KnownValue>({
    percent(0xF404, L"Calculated load"),
    temperature(0xF405, L"Coolant temperature"),
    fuelTrim(0xF406, L"Short term fuel trim, bank 1"),
    fuelTrim(0xF407, L"Long term fuel trim, bank 1"),
    fuelTrim(0xF408, L"Short term fuel trim, bank 2"),
    fuelTrim(0xF409, L"Long term fuel trim, bank 2"),
    {0xF40A, L"Fuel pressure", 1, L"kPa", 3},
    {0xF40B, L"Intake manifold pressure", 1, L"kPa"},
    {0xF40C, L"Engine speed", 2, L"1/min", 1, 4},
    {0xF40D, L"Vehicle speed", 1, L"km/h"},
    {0xF40E, L"Ignition advance, cylinder 1", 1, L"\u00B0", 5, 1, -640, 1},
    temperature(0xF40F, L"Intake air temperature"),
    {0xF410, L"Air flow rate", 2, L"g/s", 1, 1, 0, 2},
    percent(0xF411, L"Throttle position"),
    {0xF41F, L"Time since engine start", 2, L"s"},
    {0xF421, L"Distance with warning indicator on", 2, L"km"},
    percent(0xF42C, L"Commanded exhaust gas recirculation"),
    percent(0xF42F, L"Fuel level"),
    {0xF430, L"Warm-ups since faults were cleared", 1, L""},
    {0xF431, L"Distance since faults were cleared", 2, L"km"},
    {0xF433, L"Barometric pressure", 1, L"kPa"},
    {0xF442, L"Control unit voltage", 2, L"V", 1, 1, 0, 3},
    {0xF443, L"Absolute load", 2, L"%", 100, 255},
    percent(0xF445, L"Relative throttle position"),
    temperature(0xF446, L"Ambient air temperature"),
    percent(0xF449, L"Accelerator pedal position D"),
    percent(0xF44A, L"Accelerator pedal position E"),
    percent(0xF44C, L"Commanded throttle position"),
    {0xF44D, L"Time with warning indicator on", 2, L"min"},
    {0xF44E, L"Time since faults were cleared", 2, L"min"},
    temperature(0xF45C, L"Oil temperature"),
    {KnownIdentifier::odometer, L"Mileage", 4, L"km", 1, 1, 0, 1},
});

std::wstring withUnit(const std::wstring& number, const std::wstring& unit) {
    return unit.empty() ? number : number + L" " + unit;
}

std::wstring decimalText(std::int64_t value, int decimals) {
    std::wstring digits = std::to_wstring(std::abs(value));
    const auto places = static_cast<std::size_t>(decimals);
    if (digits.size() <= places) {
        digits.insert(0, places + 1 - digits.size(), L'0');
    }
    if (places > 0) {
        digits.insert(digits.size() - places, 1, L'.');
    }
    return value < 0 ? L"-" + digits : digits;
}

} // namespace

const KnownValue* knownValue(std::uint16_t dataIdentifier) noexcept {
    const KnownValue* const end = knownValues.data() + knownValues.size();
    const KnownValue* const found =
        std::find_if(knownValues.data(), end, [dataIdentifier](const auto& known) {
            return known.dataIdentifier == dataIdentifier;
        });
    return found == end ? nullptr : found;
}

std::wstring knownText(const KnownValue& known, const Uds::Bytes& bytes) {
    if (bytes.size() != known.length) {
        return Uds::hexText(bytes);
    }
    const auto raw = static_cast<std::int64_t>(Uds::numberAt(bytes, 0, bytes.size()));
    const std::int64_t value =
        (raw * known.multiplier + known.divisor / 2) / known.divisor + known.offset;
    return withUnit(decimalText(value, known.decimals), known.unit);
}

std::wstring numberText(const Uds::Bytes& bytes, const std::wstring& unit) {
    if (bytes.empty() || bytes.size() > sizeof(std::uint64_t)) {
        return Uds::hexText(bytes);
    }
    return withUnit(std::to_wstring(Uds::numberAt(bytes, 0, bytes.size())), unit);
}

} // namespace Quarlen::Kel_cpp
