#include "tests/kel_cpp/runtime/RuntimeFixture.hpp"

#include <atomic>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/support/TestPaths.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

std::filesystem::path newFolder() {
    static std::atomic<unsigned> count{0};
    const std::string name = "kel_runtime_test_" + std::to_string(std::random_device{}()) + "_" +
                             std::to_string(++count);
    const auto folder = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(folder);
    return folder;
}

} // namespace

ConfigFolder::ConfigFolder() : folder(newFolder()) {
    std::filesystem::copy(Quarlen::Tests::examplesFolder(), config(),
                          std::filesystem::copy_options::recursive);
    replaceIn("KelServer.xml", "<Tracing enabled=\"true\"", "<Tracing enabled=\"false\"");
}

ConfigFolder::~ConfigFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void ConfigFolder::write(const std::filesystem::path& relativePath,
                         std::string_view content) const {
    const auto path = config() / relativePath;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        .write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string ConfigFolder::read(const std::filesystem::path& relativePath) const {
    std::ifstream file(config() / relativePath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ConfigFolder::replaceIn(const std::filesystem::path& relativePath, const std::string& text,
                             const std::string& replacement) const {
    std::string content = read(relativePath);
    const auto at = content.find(text);
    ASSERT_NE(at, std::string::npos) << text;
    write(relativePath, content.replace(at, text.size(), replacement));
}

void RuntimeFixture::restart() {
    runtime.reset();
    runtime = std::make_shared<Runtime>(
        RuntimeEnvironment{folder.config(), folder.base() / "installation", *usedClock,
                           testerPresentInterval, errorOutput});
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
