#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

/// Texts for the numbers of a vehicle report, in UTF-8.
namespace Quarlen::Kel_cpp {

/// Bits of the report's service mask that the built-in runtime has data for.
inline constexpr std::uint32_t reportServiceIdentValues = 0x1;
inline constexpr std::uint32_t reportServiceCurrentDtcs = 0x2;
inline constexpr std::uint32_t reportServiceSupportedDtcs = 0x4;

/// "Unknown report type 4294967295" for a number without a meaning.
std::string reportTypeText(std::uint32_t type);

/// Wanted parts of a report that the built-in runtime has no data for, in ascending order of their
/// bits; bits without a name are collected in one text.
std::vector<std::string> unavailableReportServices(std::uint32_t serviceMask);

struct DtcStatusBit {
    std::uint8_t mask;
    /// Text for the reader of a report.
    std::string_view words;
    /// Spelling in scripts.
    std::string_view scriptName;
    /// False for the two bits that only tell that a test has not been run.
    bool fault;
};

/// ISO 14229-1 D.2, bit 0 first.
extern const std::array<DtcStatusBit, 8> dtcStatusBits;

/// The status mask of a request in words; only its lower eight bits exist in a control unit.
std::string dtcStatusMaskText(std::uint32_t mask);

/// Usual notation of a three-byte DTC: letter and four digits of SAE J2012-DA, failure type byte
/// behind a hyphen, for example "P0301-11". Higher bits are dropped.
std::string dtcNotation(std::uint32_t code);

/// "0x" and at least `digits` upper-case digits.
std::string hexadecimal(std::uint32_t value, int digits);

/// A moment in local time, in two spellings.
struct TimeTexts {
    /// "2026-11-20 14:05:09 UTC+01:00"
    std::string forReaders;
    /// ISO 8601: "2026-11-20T14:05:09+01:00"
    std::string forMachines;
    /// "20261120_140509"
    std::string forFileNames;
};

/// `local` is `moment` in the machine's time zone; their difference is the UTC offset.
TimeTexts timeTexts(const std::tm& local, std::time_t moment);

} // namespace Quarlen::Kel_cpp
