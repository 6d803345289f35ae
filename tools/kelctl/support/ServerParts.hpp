#pragma once

#include <filesystem>

#include "tools/kelctl/support/Bundle.hpp"

namespace Quarlen::Ctl {

/// Folders of a server that runs on this machine; empty for none.
struct ServerPaths {
    std::filesystem::path traces;
};

/// What the server tells, under "server/".
ServerPaths addServerParts(const ServerPlace& place, const AddPart& add, const NotePart& note);

/// Its latest reports, under "reports/". False when it does not tell of any.
bool addServerReports(const ServerPlace& place, const AddPart& add, const NotePart& note);

} // namespace Quarlen::Ctl
