#include "tools/kelctl/support/Bundle.hpp"

#include <utility>

#include "tools/kelctl/support/Archive.hpp"
#include "tools/kelctl/support/LocalParts.hpp"
#include "tools/kelctl/support/ServerParts.hpp"

namespace Quarlen::Ctl {

namespace {

std::string linesOf(const std::vector<std::string>& notes) {
    std::string lines;
    for (const std::string& note : notes) {
        lines += note + "\n";
    }
    return lines.empty() ? "nothing\n" : lines;
}

} // namespace

/// What is small and always needed comes first, the reports come last.
std::vector<std::string> writeBundle(const BundleWish& wish) {
    Archive archive(wish.file);
    std::vector<std::string> notes;
    std::size_t total = 0;
    const NotePart note = [&](const std::string& text) { notes.push_back(text); };
    const AddPart add = [&](const std::string& name, std::string content) {
        if (total + content.size() > maxBundle) {
            note(name + ": left out, the bundle is large enough");
            return;
        }
        total += content.size();
        archive.add(name, std::move(content));
    };
    addEnvironment(add);
    const ServerPaths paths = addServerParts(wish.place, add, note);
    const LocalFolders folders{.config = wish.configFolder,
                               .traces =
                                   wish.tracesFolder.empty() ? paths.traces : wish.tracesFolder};
    addConfiguration(folders, add, note);
    addTraces(folders, add, note);
    if (!addServerReports(wish.place, add, note)) {
        addLocalReports(folders, add, note);
    }
    archive.add("missing.txt", linesOf(notes));
    archive.finish();
    return notes;
}

} // namespace Quarlen::Ctl
