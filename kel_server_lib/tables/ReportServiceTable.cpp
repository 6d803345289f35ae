#include "kel_server_lib/tables/ReportServiceTable.hpp"

#include "kel_server_lib/tables/TextTable.hpp"

namespace Quarlen {

namespace {

// The runtime knows bit 0x10, but no text stands for it: scripts cannot ask for that service.
constexpr std::array<TextTableRow, 11> reportServiceTable{{
    {L"IdentValues", 0x001},
    {L"CurrentDtcs", 0x002},
    {L"SupportedDtcs", 0x004},
    {L"CodingStrings", 0x008},
    {L"ClearErrors", 0x020},
    {L"AdditionalServices", 0x040},
    {L"PreActions", 0x080},
    {L"PostActions", 0x100},
    {L"ReadFingerprint", 0x200},
    {L"ReadFlashId", 0x400},
    {L"VehicleReportServices", 0x800},
}};

} // namespace

std::uint32_t reportServiceFromText(const std::wstring& text) {
    return valueOfText(reportServiceTable, text);
}

std::vector<std::wstring_view> reportServiceTexts() {
    return textsOf(reportServiceTable);
}

} // namespace Quarlen
