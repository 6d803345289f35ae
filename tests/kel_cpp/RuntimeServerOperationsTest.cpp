#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_server_lib/runtime/ServerHandler.hpp"
#include "platform/OperatingSystem.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/update/ZipFiles.hpp"
#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Quarlen::Tests::freePort;

class RuntimeServerTest : public RuntimeFixture {
protected:
    void waitForConnections(std::size_t count) {
        while (connectionCount(*runtime) != count) {
            std::this_thread::yield();
        }
    }
};

boost::asio::ip::tcp::socket connectTo(boost::asio::io_context& context,
                                       const std::wstring& address) {
    const auto colon = address.find(L':');
    const auto port = static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1)));
    boost::asio::ip::tcp::socket socket(context);
    socket.connect(
        {boost::asio::ip::make_address(Platform::toUtf8(address.substr(0, colon))), port});
    return socket;
}

} // namespace

TEST_F(RuntimeServerTest, AClientOfTheServerIsAnActiveConnectionBesideTheVehicle) {
    boost::asio::io_context context;
    const std::wstring address = runtime->startServer(L"127.0.0.1:" + std::to_wstring(freePort()));
    {
        const auto client = connectTo(context, address);
        waitForConnections(1);
        connect();
        EXPECT_EQ(connectionCount(*runtime), 2U);
    }
    waitForConnections(1);
    runtime->stopServer(address);
}

TEST_F(RuntimeServerTest, ListsTakeTheResultInsteadOfGrowing) {
    connect();
    RecordList<ActiveConnection> connections(3);
    runtime->getActiveConnections(connections);
    EXPECT_EQ(connections.size(), 1U);
    RecordList<ProjectEntry> projects(3);
    runtime->getProjects(projects);
    EXPECT_EQ(projects.size(), 2U);
    RecordList<TargetEntry> targets(3);
    runtime->getTargets(targets);
    EXPECT_EQ(targets.size(), 4U);
    RecordList<ProjectObject> objects(3);
    runtime->getProjectObjects(objects, L"#OTX", L"", nullptr, 0);
    EXPECT_EQ(objects.size(), 4U);
    RecordList<FlashSession> sessions(3);
    runtime->getFlashSessions(sessions, L"ENGINE", L"ENGINE");
    EXPECT_EQ(sessions.size(), 2U);
}

TEST_F(RuntimeServerTest, AnAddressThatCannotBeUsedIsNamed) {
    EXPECT_NE(
        errorOf([&] { runtime->startServer(L"no address at all"); }).find(L"no address at all"),
        std::wstring::npos);
}

TEST_F(RuntimeServerTest, RefusesPortZeroAndListensOnNoOther) {
    for (const wchar_t* const address : {L"127.0.0.1:0", L"localhost:00", L"http://127.0.0.1:0/"}) {
        const std::wstring error = errorOf([&] { runtime->startServer(address); });
        EXPECT_EQ(error.find(L"cannot listen on \"" + std::wstring(address) +
                             L"\": the port is 0, expected a number from 1 to 65535"),
                  0U);
    }
}

TEST_F(RuntimeServerTest, KeepsTheStatusWithItsTime) {
    EXPECT_EQ(runtime->serverStatus().text, L"");
    later = std::chrono::seconds(7);
    runtime->setServerStatus(L"Idle");
    later = std::chrono::seconds(8);
    EXPECT_EQ(runtime->serverStatus().text, L"Idle");
    EXPECT_EQ(runtime->serverStatus().time, startOfTest + std::chrono::seconds(7));
}

TEST_F(RuntimeServerTest, ListsItsComponentsTheDpduLayerFirst) {
    const auto components = runtime->getComponentVersions();
    ASSERT_GE(components.size(), 5U);
    EXPECT_EQ(components[0]->kind, ComponentVersion::dpduApiKind);
    EXPECT_EQ(components[1]->version, runtime->getServerVersion());
    EXPECT_EQ(components[2]->version.find(L"pugixml 1."), 0U);
}

TEST_F(RuntimeServerTest, KnowsTheSystemItRunsOn) {
    const auto device = runtime->getDeviceInfo();
    const bool windows = Platform::operatingSystem().kind == Platform::OperatingSystemKind::Windows;
    EXPECT_EQ(device->hardwareType, windows ? HardwareType::Windows : HardwareType::Linux);
    EXPECT_NE(device->cosVersion.find(windows ? L"Windows" : L"Linux"), std::wstring::npos);
}

TEST_F(RuntimeServerTest, RefusesAnUpdatePackageThatLeavesTheUpdateFolder) {
    folder.write("secret.zip", "x");
    auto package = std::make_shared<UpdatePackageInfo>();
    package->packagePath =
        Platform::fromPath(folder.base() / "installation") + L"/Update/../../config/secret.zip";
    EXPECT_NE(errorOf([&] { runtime->installUpdatePackages({package}); }), L"");
    EXPECT_FALSE(std::filesystem::exists(folder.config() / "data" / "staged" / "secret.zip"));
}

TEST_F(RuntimeServerTest, StagesAnUpdatePackageOfTheUpdateFolder) {
    const auto file = writeZip(folder.base() / "installation" / "Update" / "New.zip", {"entry"});
    auto package = std::make_shared<UpdatePackageInfo>();
    package->packagePath = Platform::fromPath(file);
    EXPECT_EQ(errorOf([&] { runtime->installUpdatePackages({package}); }), L"");
    EXPECT_TRUE(std::filesystem::exists(folder.config() / "data" / "staged" / "New.zip"));
}

TEST_F(RuntimeServerTest, AnEmptyListOfUpdatePackagesIsInstalledAtOnce) {
    EXPECT_EQ(errorOf([&] { runtime->installUpdatePackages({}); }), L"");
}

TEST_F(RuntimeServerTest, AnUnreadableContainerIsDescribedAndNotThrown) {
    RecordList<UpdateDescription> descriptions;
    EXPECT_EQ(errorOf([&] { runtime->prepareUpdatePackages({L"/no/such.pdx"}, descriptions); }),
              L"");
    ASSERT_EQ(descriptions.size(), 1U);
    EXPECT_NE(descriptions[0]->message.find(L"such.pdx\": "), std::wstring::npos);
}

TEST_F(RuntimeServerTest, StartsAndStopsTheSovdServer) {
    folder.replaceIn("KelServer.xml", "<SovdServer port=\"20002\"/>",
                     "<SovdServer port=\"" + std::to_string(freePort()) + "\"/>");
    restart();
    runtime->startSovdServer();
    EXPECT_NE(errorOf([&] { runtime->startSovdServer(); }), L"");
    runtime->stopSovdServer();
    EXPECT_EQ(errorOf([&] { runtime->stopSovdServer(); }), L"");
}

TEST(RuntimeFacade, IsOneForTheWholeProcessWhileSomebodyHoldsIt) {
    auto first = getKelApi();
    EXPECT_EQ(getKelApi(), first);
    const std::weak_ptr<KelApi> former = first;
    first.reset();
    EXPECT_TRUE(former.expired());
    EXPECT_NE(getKelApi(), nullptr);
}

} // namespace Quarlen::Kel_cpp::Tests
