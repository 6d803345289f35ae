#include "tools/kelctl/check/ProjectChoice.hpp"

#include <algorithm>

#include "platform/TextEncoding.hpp"
#include "xml/Quoting.hpp"

namespace Quarlen::Ctl {

namespace {

constexpr const wchar_t* noneOfThem = L"none of the projects that AUTO_SELECT can find has ";

} // namespace

bool ProjectChoice::mayBe(const std::function<bool(const SelectedProject&)>& is) const {
    return all.empty() || std::any_of(all.begin(), all.end(), is);
}

std::vector<std::wstring> ProjectChoice::names(
    const std::function<std::vector<std::wstring>(const SelectedProject&)>& of) const {
    std::vector<std::wstring> names;
    for (const SelectedProject& selected : all) {
        for (const std::wstring& name : of(selected)) {
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
    }
    return names;
}

std::wstring ProjectChoice::missing(const std::wstring& what) const {
    return isOne() ? L"the project " + Xml::inQuotes(Platform::toUtf8(all.front().project->name)) +
                         L" has no " + what
                   : noneOfThem + std::wstring(L"a ") + what;
}

std::wstring ProjectChoice::missingInInformation(const std::wstring& what) const {
    return isOne() ? L"the vehicle information " +
                         Xml::inQuotes(Platform::toUtf8(all.front().information->name)) +
                         L" has no " + what
                   : noneOfThem + std::wstring(L"a ") + what;
}

} // namespace Quarlen::Ctl
