#include <httplib.h>

#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "kel_server_lib/rest/handlers/Replies.hpp"
#include "kel_server_lib/rest/handlers/RequestBody.hpp"
#include "std_util/SystemInformation.hpp"

namespace Quarlen::Rest {

namespace {

using Packages = Kel_cpp::RecordList<Kel_cpp::UpdatePackageInfo>;

/// Forward slashes on every platform and no normalisation: the runtime interprets the path.
Packages packagesOf(const picojson::value& body) {
    const std::wstring updateFolder =
        StdUtil::SystemInformation::getInstallationPath().wstr() + L"/Update/";
    Packages packages;
    for (const picojson::value& element : body.get<picojson::array>()) {
        const std::wstring patchName = textOf(member(element, "patchName"));
        const auto package = std::make_shared<Kel_cpp::UpdatePackageInfo>();
        package->packagePath = updateFolder + patchName;
        packages.push_back(package);
    }
    return packages;
}

} // namespace

void putUpdate(const Call& call) {
    const picojson::value body = bodyOf(call);
    const Packages packages = packagesOf(body);
    answeringErrors(call.response, [&] {
        facade()->installUpdatePackages(packages);
        setStatusOk(call.response);
        call.response.status = httplib::StatusCode::OK_200;
    });
}

} // namespace Quarlen::Rest
