#include "kel_server_lib/tables/DtcStatusTable.hpp"

#include "kel_server_lib/tables/TextTable.hpp"

namespace Quarlen {

namespace {

constexpr std::array<TextTableRow, 9> dtcStatusTable{{
    {L"Empty", 0x00},
    {L"TestFailed", 0x01},
    {L"TestFailedThisMonitoringCycle", 0x02},
    {L"Pending", 0x04},
    {L"Confirmed", 0x08},
    {L"TestNotCompletedSinceLastClear", 0x10},
    {L"TestFailedSinceLastClear", 0x20},
    {L"TestNotCompletedThisMonitoringCycle", 0x40},
    {L"WarningIndicatorRequested", 0x80},
}};

} // namespace

std::uint32_t dtcStatusFromText(const std::wstring& text) {
    return valueOfText(dtcStatusTable, text);
}

std::vector<std::wstring_view> dtcStatusTexts() {
    return textsOf(dtcStatusTable);
}

} // namespace Quarlen
