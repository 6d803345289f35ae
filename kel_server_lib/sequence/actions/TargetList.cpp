#include "kel_server_lib/sequence/actions/TargetList.hpp"

namespace Quarlen {

namespace {

void setFilters(Kel_cpp::KelApi& api, const std::vector<Config::TargetSetting>& targets) {
    Kel_cpp::RecordList<Kel_cpp::TargetFilter> filters;
    for (const Config::TargetSetting& target : targets) {
        const auto filter = std::make_shared<Kel_cpp::TargetFilter>();
        filter->name = target.name;
        filter->enabled = target.enabled;
        filters.push_back(filter);
    }
    api.setTargetFilters(filters);
}

} // namespace

std::vector<std::wstring> targetList(Kel_cpp::KelApi& api, const std::vector<std::wstring>& items,
                                     const std::vector<Config::TargetSetting>& targets) {
    std::vector<std::wstring> names = items;
    if (targets.empty()) {
        return names;
    }
    setFilters(api, targets);
    Kel_cpp::RecordList<Kel_cpp::TargetEntry> entries;
    api.getTargets(entries);
    for (const auto& entry : entries) {
        if (entry->kind == Kel_cpp::TargetEntry::controlUnitKind) {
            names.push_back(entry->name);
        }
    }
    return names;
}

} // namespace Quarlen
