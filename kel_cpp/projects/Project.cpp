#include "kel_cpp/projects/Project.hpp"

#include <algorithm>

namespace Quarlen::Kel_cpp {

namespace {

template <class Element>
const Element* findByName(const std::vector<Element>& list, const std::wstring& wanted) {
    const auto found = std::find_if(list.begin(), list.end(),
                                    [&](const Element& element) { return element.name == wanted; });
    return found == list.end() ? nullptr : &*found;
}

} // namespace

const VehicleInformation* Project::findVehicleInformation(const std::wstring& wanted) const {
    return findByName(vehicleInformations, wanted);
}

const OtxProcedure* Project::findProcedure(const std::wstring& wanted) const {
    return findByName(procedures, wanted);
}

const UnlockProcedure* Project::findUnlock(const std::wstring& wanted) const {
    return findByName(unlocks, wanted);
}

const FlashItem* Project::findFlashItem(const std::wstring& wanted) const {
    return findByName(flashItems, wanted);
}

Uds::UnitAddress Project::addressOf(const std::wstring& logicalLink) const {
    for (const VehicleInformation& information : vehicleInformations) {
        for (const ProjectTarget& target : information.targets) {
            if (target.link == logicalLink) {
                return target.unitAddress();
            }
        }
    }
    return {logicalLink};
}

std::wstring Project::dtcText(std::uint32_t code) const {
    const auto found = std::find_if(dtcTexts.begin(), dtcTexts.end(),
                                    [&](const DtcText& text) { return text.code == code; });
    return found == dtcTexts.end() ? std::wstring() : found->text;
}

} // namespace Quarlen::Kel_cpp
