#include "uds/DtcStatus.hpp"

#include <array>

namespace Quarlen::Uds {

namespace {

using namespace DtcStatus;

/// No status has, of the bits in `looked`, exactly those in `set`.
struct Contradiction {
    std::uint8_t looked;
    std::uint8_t set;
    const wchar_t* text;
};

constexpr Contradiction without(std::uint8_t bit, std::uint8_t missing, const wchar_t* text) {
    return {static_cast<std::uint8_t>(bit | missing), bit, text};
}

constexpr Contradiction both(std::uint8_t first, std::uint8_t second, const wchar_t* text) {
    const auto bits = static_cast<std::uint8_t>(first | second);
    return {bits, bits, text};
}

constexpr auto contradictions = std::to_array<Contradiction>({
    without(confirmed, testFailedSinceLastClear, L"confirmedDTC without testFailedSinceLastClear"),
    without(pending, testFailedSinceLastClear, L"pendingDTC without testFailedSinceLastClear"),
    without(testFailed, testFailedSinceLastClear, L"testFailed without testFailedSinceLastClear"),
    without(testFailed, pending, L"testFailed without pendingDTC"),
    without(testFailedThisOperationCycle, pending,
            L"testFailedThisOperationCycle without pendingDTC"),
    without(testNotCompletedSinceLastClear, testNotCompletedThisOperationCycle,
            L"testNotCompletedSinceLastClear without testNotCompletedThisOperationCycle"),
    both(testFailedSinceLastClear, testNotCompletedSinceLastClear,
         L"testFailedSinceLastClear with testNotCompletedSinceLastClear"),
    both(testFailedThisOperationCycle, testNotCompletedThisOperationCycle,
         L"testFailedThisOperationCycle with testNotCompletedThisOperationCycle"),
    {testFailed | testFailedThisOperationCycle | testNotCompletedThisOperationCycle, testFailed,
     L"testFailed after a test in this operation cycle, without testFailedThisOperationCycle"},
});

} // namespace

std::wstring_view impossibleDtcStatus(std::uint8_t status) noexcept {
    for (const auto& contradiction : contradictions) {
        if ((status & contradiction.looked) == contradiction.set) {
            return contradiction.text;
        }
    }
    return {};
}

} // namespace Quarlen::Uds
