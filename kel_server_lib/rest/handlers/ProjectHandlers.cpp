#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "kel_server_lib/rest/handlers/Replies.hpp"

namespace Quarlen::Rest {

namespace {

void deselectProject() {
    if (!facade()->getSelectedProjectName().empty()) {
        facade()->selectProject(L"");
    }
}

void appendOtxOf(const std::wstring& vehicleInformation, picojson::array& otx) {
    facade()->selectVehicleInformation(vehicleInformation);
    Kel_cpp::RecordList<Kel_cpp::ProjectObject> objects;
    facade()->getProjectObjects(objects, L"#OTX", L"", nullptr, 0);
    for (const auto& object : objects) {
        otx.emplace_back(picojson::object{{"vehicleInformation", jsonText(vehicleInformation)},
                                          {"name", jsonText(object->name)}});
    }
}

picojson::array otxOfProject(const std::wstring& projectName) {
    facade()->beginProjectSelection();
    facade()->selectProject(projectName);
    const auto details = facade()->getProjectDetails(projectName);
    picojson::array otx;
    for (const auto& vehicleInformation : details->vehicleInformations) {
        appendOtxOf(vehicleInformation, otx);
    }
    facade()->selectProject(L"");
    return otx;
}

} // namespace

void getProjectOtx(const Call& call) {
    answeringErrors(call.response, [&] {
        const auto settings = facade()->getServerSettings();
        const bool listedBefore = settings->optionOtxListing;
        settings->optionOtxListing = true;
        facade()->setServerSettings(settings);
        deselectProject();
        picojson::array otx = otxOfProject(call.parameters.at(L"PROJECTNAME"));
        settings->optionOtxListing = listedBefore;
        facade()->setServerSettings(settings);
        setJson(call.response, {{"otx", picojson::value(otx)}});
    });
}

} // namespace Quarlen::Rest
