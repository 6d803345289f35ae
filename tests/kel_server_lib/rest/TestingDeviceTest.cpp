#include <filesystem>

#include "tests/kel_server_lib/rest/OtherMachine.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::HasSubstr;

/// The server started in a folder that may hold the marker file ".testing.device".
class TestingDevice : public RestFixture {
protected:
    TestingDevice() : former(std::filesystem::current_path()) {
        std::filesystem::current_path(folder.path());
    }
    ~TestingDevice() override { std::filesystem::current_path(former); }
    TestingDevice(const TestingDevice&) = delete;
    TestingDevice& operator=(const TestingDevice&) = delete;

    std::filesystem::path former;
};

TEST_F(TestingDevice, IsNotReachedFromAnotherMachineWithoutTheMarker) {
    const OtherMachine machine;
    if (!machine.missing().empty()) {
        GTEST_SKIP() << machine.missing(); // what this system does not give to play another machine
    }
    start();

    EXPECT_EQ(machine.get(port, "/kel/v1/health"), std::nullopt);
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(TestingDevice, IsReachedFromAnotherMachineWithTheMarker) {
    const OtherMachine machine;
    if (!machine.missing().empty()) {
        GTEST_SKIP() << machine.missing(); // what this system does not give to play another machine
    }
    folder.write(".testing.device", "");
    start();

    EXPECT_THAT(machine.get(port, "/kel/v1/health").value_or("refused"), HasSubstr("200 OK"));
    EXPECT_EQ(get("/kel/v1/health").status, 200);
}

TEST_F(TestingDevice, SaysThatItListensOnAllInterfaces) {
    folder.write(".testing.device", "");
    start();

    EXPECT_EQ(printed(), "REST API Listening in http://0.0.0.0:" + std::to_string(port) + "\n");
}

TEST_F(TestingDevice, ServesRequestsWhateverHostTheyName) {
    folder.write(".testing.device", "");
    start();
    RawClient client = connect();
    client.send("GET /kel/v1/health HTTP/1.1\r\nHost: device.example\r\n"
                "Sec-Fetch-Site: cross-site\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), HasSubstr("200 OK"));
}

TEST_F(TestingDevice, TakesNoFolderForTheMarker) {
    std::filesystem::create_directory(".testing.device");
    start();

    EXPECT_EQ(printed(), "REST API Listening in " + url + "\n");
}

} // namespace

} // namespace Quarlen::Tests
