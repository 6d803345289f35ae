#include "kel_cpp/report/ReportTexts.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "platform/LocalTime.hpp"

namespace Quarlen::Kel_cpp {
namespace {

constexpr std::array<std::string_view, 9> reportTypeTexts = {
    "Undefined",      "SWT, initial",         "SWT, final", "SWT, faults deleted",
    "Tool",           "Tool, faults deleted", "CVCR",       "Control unit identification",
    "Fault memories",
};

struct UnavailableService {
    std::uint32_t mask;
    std::string_view text;
};

/// The bit 0x10 has no name.
constexpr std::array<UnavailableService, 8> unavailableServices = {{
    {0x8, "Coding strings"},
    {0x20, "Cleared errors"},
    {0x40, "Additional services"},
    {0x80, "Actions before the test"},
    {0x100, "Actions after the test"},
    {0x200, "Fingerprints"},
    {0x400, "Flash identifiers"},
    {0x800, "Vehicle report services"},
}};

constexpr std::uint32_t availableServiceMask =
    reportServiceIdentValues | reportServiceCurrentDtcs | reportServiceSupportedDtcs;

/// DTCFormatIdentifier, ISO 14229-1 annex D.4.
namespace DtcFormat {
constexpr std::uint8_t iso15031 = 0x00;
constexpr std::uint8_t iso14229 = 0x01;
constexpr std::uint8_t j1939 = 0x02;
constexpr std::uint8_t iso11992 = 0x03;
constexpr std::uint8_t j2012 = 0x04;
} // namespace DtcFormat

bool isLetterFormat(std::optional<std::uint8_t> format) {
    return !format || *format == DtcFormat::iso15031 || *format == DtcFormat::j2012;
}

std::string letterNotation(std::uint32_t code) {
    constexpr std::string_view systems = "PCBU";
    const std::string digits = hexadecimal(code & 0x3FFFFFU, 6).substr(2);
    return systems[(code >> 22U) & 0x3U] + digits.substr(0, 4) + "-" + digits.substr(4);
}

/// The lower bytes of the SPN come first; its three highest bits stand above the FMI.
std::string j1939Notation(std::uint32_t code) {
    const std::uint32_t spn = ((code >> 16U) & 0xFFU) | (code & 0xFF00U) | ((code & 0xE0U) << 11U);
    return "SPN " + std::to_string(spn) + " FMI " + std::to_string(code & 0x1FU);
}

std::string paddedDecimal(int value, std::size_t digits) {
    const std::string text = std::to_string(value);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
}

std::string offsetText(std::chrono::minutes offset) {
    const auto minutes = static_cast<int>(std::abs(offset.count()));
    return (offset.count() < 0 ? "-" : "+") + paddedDecimal(minutes / 60, 2) + ":" +
           paddedDecimal(minutes % 60, 2);
}

} // namespace

const std::array<DtcStatusBit, 8> dtcStatusBits = {{
    {0x01, "Test failed", "TestFailed", true},
    {0x02, "Failed this cycle", "TestFailedThisMonitoringCycle", true},
    {0x04, "Pending", "Pending", true},
    {0x08, "Confirmed", "Confirmed", true},
    {0x10, "Not completed since clear", "TestNotCompletedSinceLastClear", false},
    {0x20, "Failed since clear", "TestFailedSinceLastClear", true},
    {0x40, "Not completed this cycle", "TestNotCompletedThisMonitoringCycle", false},
    {0x80, "Warning indicator", "WarningIndicatorRequested", true},
}};

std::string reportTypeText(std::uint32_t type) {
    if (type < reportTypeTexts.size()) {
        return std::string(reportTypeTexts.at(type));
    }
    return "Unknown report type " + std::to_string(type);
}

std::vector<std::string> unavailableReportServices(std::uint32_t serviceMask) {
    std::vector<std::string> texts;
    std::uint32_t unnamed = serviceMask & ~availableServiceMask;
    for (const UnavailableService& service : unavailableServices) {
        if ((serviceMask & service.mask) != 0) {
            texts.emplace_back(service.text);
        }
        unnamed &= ~service.mask;
    }
    if (unnamed != 0) {
        texts.push_back("Unknown services (" + hexadecimal(unnamed, 1) + ")");
    }
    return texts;
}

std::string dtcStatusMaskText(std::uint32_t mask) {
    constexpr std::uint32_t everyBit = 0xFF;
    const std::uint32_t asked = mask & everyBit;
    std::string words;
    for (const DtcStatusBit& bit : dtcStatusBits) {
        if ((asked & bit.mask) != 0) {
            words.append(words.empty() ? "" : ", ").append(bit.words);
        }
    }
    if (asked == everyBit) {
        words = "every status";
    }
    return hexadecimal(asked, 2) + " (" + (words.empty() ? "none" : words) + ")";
}

std::string dtcNotation(std::uint32_t code, std::optional<std::uint8_t> format) {
    const std::uint32_t bytes = code & 0xFFFFFFU;
    if (isLetterFormat(format)) {
        return letterNotation(bytes);
    }
    return *format == DtcFormat::j1939 ? j1939Notation(bytes) : hexadecimal(bytes, 6);
}

std::string dtcFormatRemark(std::optional<std::uint8_t> format) {
    if (!format) {
        return "The control unit does not tell the format of its codes: they are shown as "
               "ISO 15031-6 has them.";
    }
    switch (*format) {
    case DtcFormat::iso15031:
    case DtcFormat::j2012:
        return {};
    case DtcFormat::iso14229:
        return "The codes are the three bytes of ISO 14229-1, with the manufacturer's meaning.";
    case DtcFormat::j1939:
        return "The codes are in the format of SAE J1939-73.";
    case DtcFormat::iso11992:
        return "The codes are in the format of ISO 11992-4.";
    default:
        return "The codes are in a format that is not known here (" + hexadecimal(*format, 2) +
               ").";
    }
}

std::string hexadecimal(std::uint32_t value, int digits) {
    constexpr std::string_view symbols = "0123456789ABCDEF";
    std::string reversed;
    for (; value != 0 || digits > 0; value >>= 4U, --digits) {
        reversed += symbols[value & 0xFU];
    }
    std::string text = "0x";
    text.append(reversed.rbegin(), reversed.rend());
    return text;
}

std::string spacedHexadecimal(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += (text.empty() ? "" : " ") + hexadecimal(byte, 2).substr(2);
    }
    return text;
}

TimeTexts timeTexts(const std::tm& local, std::time_t moment) {
    const std::string year = paddedDecimal(local.tm_year + 1900, 4);
    const std::string month = paddedDecimal(local.tm_mon + 1, 2);
    const std::string day = paddedDecimal(local.tm_mday, 2);
    const std::string hour = paddedDecimal(local.tm_hour, 2);
    const std::string minute = paddedDecimal(local.tm_min, 2);
    const std::string second = paddedDecimal(local.tm_sec, 2);
    const std::string offset = offsetText(Platform::offsetFromUtc(local, moment));
    const std::string date = year + "-" + month + "-" + day;
    const std::string time = hour + ":" + minute + ":" + second;
    return {date + " " + time + " UTC" + offset, date + "T" + time + offset,
            year + month + day + "_" + hour + minute + second};
}

} // namespace Quarlen::Kel_cpp
