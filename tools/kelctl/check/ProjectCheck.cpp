#include "tools/kelctl/check/ProjectCheck.hpp"

#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/FileFindings.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/Suggestion.hpp"

namespace Quarlen::Ctl {

namespace {

/// All elements with a link, however deep they stand.
class LinkCheck : public pugi::xml_tree_walker {
public:
    LinkCheck(const Names& links, FileFindings& findings) : links(links), findings(findings) {}

    bool for_each(pugi::xml_node& node) override {
        const auto attribute = node.attribute("link");
        const std::wstring link = Platform::fromUtf8(attribute.value());
        if (attribute && !contains(links, link)) {
            findings.add(Severity::Warning, "missing-link", node,
                         L"the simulated vehicle has no logical link " + quotedName(link),
                         L"it has " + alternativesTo(link, links));
        }
        return true;
    }

private:
    const Names& links;
    FileFindings& findings;
};

/// Each link once that no target says the address of: where only procedures and unlocks name it,
/// for example.
class AddressCheck : public pugi::xml_tree_walker {
public:
    AddressCheck(const Kel_cpp::Project& project, FileFindings& findings)
        : project(project), findings(findings) {}

    bool for_each(pugi::xml_node& node) override {
        const auto attribute = node.attribute("link");
        const std::wstring link = Platform::fromUtf8(attribute.value());
        if (attribute && !contains(told, link) && !project.addressOf(link).physical) {
            told.push_back(link);
            findings.add(Severity::Warning, "missing-address", node,
                         L"no target with the logical link " + quotedName(link) +
                             L" has an address: the control unit cannot be reached over DoIP",
                         L"<Target name=\"...\" link=\"" + link + L"\" address=\"0x0010\"/>");
        }
        return true;
    }

private:
    const Kel_cpp::Project& project;
    FileFindings& findings;
    Names told;
};

/// The elements stand in the order in which the reader has kept them.
void checkFlashFiles(const ConfigFolder& folder, const Kel_cpp::Project& project,
                     FileFindings& findings) {
    auto item = findings.root().child("FlashItem");
    for (const Kel_cpp::FlashItem& each : project.flashItems) {
        auto node = item.child("Session");
        for (const auto& session : each.sessions) {
            if (const std::wstring& fault = folder.flashFault(session); !fault.empty()) {
                findings.add(Severity::Error, folder.flashRule(session), node,
                             quotedName(session.file) + L": " + fault);
            }
            node = node.next_sibling("Session");
        }
        item = item.next_sibling("FlashItem");
    }
}

} // namespace

std::vector<Finding> checkProject(const ConfigFolder& folder, const std::wstring& name,
                                  const std::optional<Names>& links) {
    FileFindings findings(folder.projectFile(name), "Project");
    if (links) {
        LinkCheck check(*links, findings);
        auto root = findings.root();
        root.traverse(check);
    }
    if (folder.usesDoip()) {
        AddressCheck check(*folder.project(name).project, findings);
        auto root = findings.root();
        root.traverse(check);
    }
    checkFlashFiles(folder, *folder.project(name).project, findings);
    return findings.all();
}

} // namespace Quarlen::Ctl
