#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
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

/// A three-byte DTC in the notation of its format (DTCFormatIdentifier, ISO 14229-1 annex D.4):
/// - ISO 15031-6 / SAE J2012-DA, and a format that is not told: letter and four digits, failure
///   type byte behind a hyphen, for example "P0301-11";
/// - SAE J1939-73: "SPN 520 FMI 3", the bytes being those of a J1939 message (clause 5.7.1);
/// - all others: six hexadecimal digits, for example "0x030111".
/// Higher bits are dropped.
std::string dtcNotation(std::uint32_t code, std::optional<std::uint8_t> format);

/// A sentence for the reader where a format is not the usual one or not told; else empty.
std::string dtcFormatRemark(std::optional<std::uint8_t> format);

/// "0x" and at least `digits` upper-case digits.
std::string hexadecimal(std::uint32_t value, int digits);

/// "1A F8"
std::string spacedHexadecimal(const std::vector<std::uint8_t>& bytes);

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
