#pragma once

#include "tools/kelctl/check/ConfigFolder.hpp"
#include "tools/kelctl/check/FindingList.hpp"
#include "tools/kelctl/check/ProjectChoice.hpp"
#include "tools/kelctl/check/ScriptTree.hpp"

namespace Quarlen::Ctl {

/// Holds what the actions of a script name against what the configuration folder has. Told of the
/// actions in their order, it knows which project each of them meets.
class ScriptReferences {
public:
    /// Without a folder nothing is known of names. Both must outlive it.
    ScriptReferences(const ConfigFolder* folder, FindingList& findings)
        : folder(folder), findings(findings) {}

    /// These are false where the action fails for certain, which ends a run.
    bool select(const ScriptAction& action);
    bool flash(const ScriptAction& action);
    bool execute(const ScriptAction& action);
    /// Targets that are not there do not end a run.
    void quicktest(const ScriptAction& action);
    /// False where the unlock cannot open, which ends no run either.
    bool unlock(const ScriptElement& element);

private:
    bool selectByVin(const ScriptElement& action);
    bool checkVinReader(const ScriptElement& action);
    bool selectByName(const ScriptElement& action, const std::wstring& name);
    bool selectInformation(const ScriptElement& action, const ProjectChoice& projects);
    void checkItem(const ScriptElement& item);
    void checkFilter(const ScriptElement& target);
    bool checkFlashItem(const ScriptElement& item);
    bool checkKnownItem(const ScriptElement& at, const std::wstring& name);
    bool checkFlashedTargets(const ScriptAction& action);
    void checkFlashFiles(const ScriptElement& at, const std::wstring& item);
    void checkFlashFile(const ScriptElement& at, Severity severity, const Kel_cpp::Project& project,
                        const Kel_cpp::FlashSessionDescription& session);

    const ConfigFolder* folder;
    FindingList& findings;
    ProjectChoice selected;
};

} // namespace Quarlen::Ctl
