#include "tests/kel_cpp/RuntimeFixture.hpp"

#include <utility>

namespace Quarlen::Kel_cpp::Tests {

void RuntimeFixture::restart() {
    runtime.reset();
    runtime = std::make_shared<Runtime>(RuntimeEnvironment{
        folder.config(), folder.base() / "installation", *usedClock, testerPresentInterval,
        errorOutput, [this] { return startOfTest + later.load(); }});
    runtime->initialize();
}

void RuntimeFixture::useRealTime() {
    usedClock = &Platform::systemClock();
    restart();
}

void RuntimeFixture::connect(const std::wstring& vehicleInformation) {
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(vehicleInformation);
    runtime->connectVehicle();
}

void RuntimeFixture::enableOnly(const std::wstring& interfaceName) {
    const auto interfaces = runtime->getInterfaceSettings();
    for (const auto& group : interfaces->groups) {
        for (const auto& entry : group->interfaces) {
            entry->enabled = entry->name == interfaceName;
        }
    }
    runtime->setInterfaceSettings(interfaces);
}

std::shared_ptr<ServiceResult> RuntimeFixture::hexService(const std::wstring& link,
                                                          std::vector<std::uint8_t> request) {
    auto input = std::make_shared<ServiceInput>();
    input->serviceName = L"HexService";
    input->requestBytes = std::move(request);
    RecordList<ServiceResult> results;
    runtime->executeServiceSync(results, link, {input});
    return results.at(0);
}

RecordList<ServiceInput> inputsOf(const std::vector<std::wstring>& serviceNames) {
    RecordList<ServiceInput> inputs;
    for (const auto& name : serviceNames) {
        inputs.push_back(std::make_shared<ServiceInput>());
        inputs.back()->serviceName = name;
    }
    return inputs;
}

std::size_t connectionCount(Runtime& runtime) {
    RecordList<ActiveConnection> connections;
    runtime.getActiveConnections(connections);
    return connections.size();
}

} // namespace Quarlen::Kel_cpp::Tests
