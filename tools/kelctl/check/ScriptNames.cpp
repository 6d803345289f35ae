#include "tools/kelctl/check/ScriptNames.hpp"

#include <algorithm>

#include "kel_cpp/access/Selection.hpp"
#include "platform/TextEncoding.hpp"
#include "xml/Quoting.hpp"

namespace Quarlen::Ctl {

std::wstring quotedName(const std::wstring& name) {
    return Xml::inQuotes(Platform::toUtf8(name));
}

std::wstring attributeOf(const ScriptElement& element, std::string_view name) {
    return Platform::fromUtf8(element.attribute(name));
}

bool contains(const Names& names, const std::wstring& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

Names controlUnitNames(const SelectedProject& selected) {
    return namesIn(Kel_cpp::controlUnits(*selected.information));
}

Names passingUnits(const SelectedProject& selected, const ScriptAction& action) {
    Kel_cpp::Selection selection;
    selection.selectProject(selected.project);
    selection.selectInformation(selected.information->name);
    std::vector<Kel_cpp::TargetFilter> filters;
    for (const ScriptElement* const target : action.all("Target")) {
        Kel_cpp::TargetFilter filter;
        filter.name = attributeOf(*target, "name");
        filter.enabled = target->isOn("enabled", true);
        filters.push_back(std::move(filter));
    }
    selection.setFilters(std::move(filters));
    Names names;
    for (const auto& target : selection.targets()) {
        if (target.kind == Kel_cpp::TargetEntry::controlUnitKind) {
            names.push_back(target.name);
        }
    }
    return names;
}

} // namespace Quarlen::Ctl
