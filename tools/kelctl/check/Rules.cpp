#include "tools/kelctl/check/Rules.hpp"

#include <array>

namespace Quarlen::Ctl {

std::span<const Rule> allRules() {
    static constexpr auto rules = std::to_array<Rule>({
        {"cannot-read", "The file is missing, no regular file, or may not be read."},
        {"does-not-load", "The server refuses the file."},
        {"does-nothing", "An action has nothing to do."},
        {"impossible-status", "A fault of the simulated vehicle has a status that it cannot have."},
        {"missing-address", "A control unit has no address and cannot be reached over DoIP."},
        {"missing-flash-file", "The file of a flash session is missing."},
        {"missing-flash-item", "The project has no such flash item."},
        {"missing-folder", "A folder that the settings name is missing or no folder."},
        {"missing-link", "A logical link is unknown to the vehicle or the project."},
        {"missing-procedure", "The vehicle information has no such procedure."},
        {"missing-project", "The configuration folder has no such project."},
        {"missing-script", "A sequence is bound to a script that is not there."},
        {"missing-target", "The vehicle information has no such target."},
        {"missing-unlock", "The project has no such unlock, or the unlock no such parameter."},
        {"missing-vehicle-information", "The project has no such vehicle information."},
        {"name-is-no-text", "The name of a file is no valid text."},
        {"never-runs", "An action is never carried out."},
        {"no-action", "The script does nothing and ends green."},
        {"no-interface", "No vehicle communication interface is enabled."},
        {"no-project", "An action needs a project, and none is open."},
        {"no-report", "A report has a name but is not written."},
        {"no-script", "The root element is another one: the file does nothing and ends green."},
        {"no-settings", "The configuration folder has no KelServer.xml."},
        {"no-status", "The report asks for faults, but no status is given."},
        {"several-interfaces", "Of several enabled interfaces only the first is used."},
        {"shadowed-script", "The server finds another file of this name first."},
        {"token-file", "The file with the tokens lets nobody in."},
        {"unavailable-service", "A report asks for what the runtime does not carry out."},
        {"unexpected-text", "Text stands where none may stand."},
        {"unknown-attribute", "The server passes over an attribute."},
        {"unknown-element", "The server passes over an element."},
        {"unknown-interface", "An interface is enabled that the runtime does not have."},
        {"unknown-text", "A text is in none of the tables."},
        {"unlock-held", "An unlock is skipped while another one is held."},
        {"wrong-flash-file", "A flash file is not the one that the project describes."},
    });
    return rules;
}

} // namespace Quarlen::Ctl
