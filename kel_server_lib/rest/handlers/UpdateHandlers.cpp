#include <httplib.h>

#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/Replies.hpp"
#include "kel_server_lib/rest/RequestBody.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "std_util/SystemInformation.hpp"

namespace Quarlen::Rest {

namespace {

using Packages = Kel_cpp::RecordList<Kel_cpp::UpdatePackageInfo>;

/// Forward slashes on every platform and no clean-up: what the path means is the runtime's to say.
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

void putUpdate(const httplib::Request& request, httplib::Response& response,
               const PathParameters& /*parameters*/) {
    const auto body = parseBody(request.body);
    if (!body) {
        response.status = httplib::StatusCode::BadRequest_400;
        return;
    }
    const Packages packages = packagesOf(*body);
    answeringErrors(response, [&] {
        facade()->installUpdatePackages(packages);
        setStatusOk(response);
        response.status = httplib::StatusCode::OK_200;
    });
}

} // namespace Quarlen::Rest
