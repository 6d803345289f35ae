#include "tools/kelctl/check/ScriptCheck.hpp"

#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ScriptActions.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/ScriptRules.hpp"
#include "xml/FileBytes.hpp"
#include "xml/Limits.hpp"

namespace Quarlen::Ctl {

namespace {

using std::filesystem::path;

/// Ends the reading of a file.
struct Enough {};

/// The server looks for a name in its working folder before "KelServerScripts".
void checkName(const path& file, const path& workingFolder, FindingList& findings) {
    const path name = scriptNameOf(file);
    if (Platform::fromPath(file).empty()) {
        findings.error(
            "name-is-no-text", {},
            L"the name of the file is no valid text: nobody can tell a server to run it");
    }
    if (name.empty() || !isShadowed(file, name, workingFolder)) {
        return;
    }
    findings.warning("shadowed-script", {},
                     L"a server that is started in " + Platform::fromPath(workingFolder) +
                         L" runs its file " + quotedName(textOfPath(name)) + L" instead",
                     {{}, L"rename one of them, or start the server in another folder"});
}

void checkContent(const ScriptTree& tree, const ConfigFolder* config, FindingList& findings) {
    for (const Xml::Fault& refusal : tree.refusals()) {
        findings.error("does-not-load", refusal.place(), refusal.cause(),
                       {{}, L"the server runs nothing of the script, and ends green"});
    }
    if (!tree.isComplete()) {
        return;
    }
    checkScriptSchema(tree, findings);
    if (tree.elements().front().name == "KelServerScript") {
        checkScriptActions(tree, config, findings);
    }
}

} // namespace

std::vector<Finding> checkReadable(const path& file) {
    FindingList findings(textOfPath(file));
    try {
        Xml::readFile(file, Xml::Limits::none, [](std::string_view) { throw Enough(); });
    } catch (const Enough&) {
        return {};
    } catch (const Xml::Fault& fault) {
        findings.error("cannot-read", {}, fault.cause());
    }
    return findings.sorted();
}

std::vector<Finding> checkScript(const path& script, const ScriptSurroundings& surroundings) {
    if (auto unreadable = checkReadable(script); !unreadable.empty()) {
        return unreadable;
    }
    FindingList findings(textOfPath(script));
    checkName(script, surroundings.workingFolder, findings);
    try {
        checkContent(ScriptTree(script), surroundings.config, findings);
    } catch (const ScriptTree::TooLarge&) {
        findings.error("cannot-read", {}, L"the file is too large to be checked");
    }
    return findings.sorted();
}

} // namespace Quarlen::Ctl
