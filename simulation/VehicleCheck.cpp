#include "simulation/VehicleCheck.hpp"

#include "uds/DtcStatus.hpp"
#include "uds/Identifiers.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

std::vector<std::wstring> impossibleStatuses(const ControlUnitDescription& unit) {
    std::vector<std::wstring> sentences;
    for (const auto& dtc : unit.dtcs) {
        if (const auto reason = Uds::impossibleDtcStatus(dtc.status); !reason.empty()) {
            Uds::Bytes code;
            Uds::appendNumber(code, dtc.code, Uds::dtcDigits / 2);
            sentences.push_back(L"the DTC " + Uds::hexText(code) + L" of \"" + unit.name +
                                L"\" has the status 0x" + Uds::hexText({dtc.status}) +
                                L", which no tests lead to: " + std::wstring(reason));
        }
    }
    return sentences;
}

} // namespace Quarlen::Simulation
