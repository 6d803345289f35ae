#include "kel_server_lib/tables/ReportTypeTable.hpp"

#include "kel_server_lib/tables/TextTable.hpp"

namespace Quarlen {

namespace {

// The most frequent types come first.
constexpr std::array<TextTableRow, 9> reportTypeTable{{
    {L"SWT_Initial", 1},
    {L"Tool", 4},
    {L"SWT_Final", 2},
    {L"Undefined", 0},
    {L"Tool_DelDTCs", 5},
    {L"SWT_DelDTCs", 3},
    {L"CVCR", 6},
    {L"ECU_Identification", 7},
    {L"ReadDTC", 8},
}};

} // namespace

std::uint32_t reportTypeFromText(const std::wstring& text) {
    return valueOfText(reportTypeTable, text);
}

std::vector<std::wstring_view> reportTypeTexts() {
    return textsOf(reportTypeTable);
}

} // namespace Quarlen
