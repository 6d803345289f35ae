#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include "tests/kel_cpp/NetworkVehicle.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using testing::HasSubstr;

/// The built-in runtime with the example configuration, whose vehicle is in the network.
class RuntimeOverNetwork : public RuntimeFixture {
protected:
    void SetUp() override {
        vehicle.emplace(folder).use(folder);
        useRealTime();
    }

    [[nodiscard]] bool readsTheVin() {
        const auto answer = hexService(L"UDS_CAN_ENGINE", {0x22, 0xF1, 0x90});
        return !answer->responses.empty() && answer->responses.front()->data.size() == 20;
    }
    /// The vehicle's process ends; the runtime has noticed it.
    void loseVehicle() {
        const auto port = vehicle->port();
        vehicle.reset();
        while (connectionCount(*runtime) > 0) {
            std::this_thread::yield();
        }
        lastPort = port;
    }

    std::optional<NetworkVehicle> vehicle;
    std::uint16_t lastPort = 0;
};

} // namespace

TEST_F(RuntimeOverNetwork, ConnectsAnewToAVehicleThatHasComeBack) {
    connect();
    EXPECT_TRUE(readsTheVin());
    loseVehicle();
    EXPECT_THAT(errorOf([this] { (void)readsTheVin(); }), HasSubstr(L"connection"));
    vehicle.emplace(folder, lastPort);
    connect();
    EXPECT_TRUE(readsTheVin());
    EXPECT_EQ(vehicle->testers(), 1U);
}

TEST_F(RuntimeOverNetwork, DoesNotGoOnWithTheSimulationWhereTheOtherVehicleIsNotThere) {
    enableOnly(L"Simulation");
    runtime->applyInterfaceSettings();
    connect();
    EXPECT_TRUE(readsTheVin());
    EXPECT_EQ(vehicle->testers(), 0U);
    vehicle.reset();
    enableOnly(L"DoIP");
    runtime->applyInterfaceSettings();
    EXPECT_TRUE(readsTheVin());
    EXPECT_THAT(errorOf([this] { connect(); }), HasSubstr(L"no vehicle answers at"));
    EXPECT_THAT(errorOf([this] { (void)readsTheVin(); }), HasSubstr(L"not connected"));
    EXPECT_EQ(connectionCount(*runtime), 0U);
}

TEST_F(RuntimeOverNetwork, LeavesAVehicleThatNoInterfaceLeadsToAnyMore) {
    connect();
    enableOnly(L"");
    runtime->applyInterfaceSettings();
    EXPECT_NE(errorOf([this] { connect(); }), L"");
    EXPECT_EQ(connectionCount(*runtime), 0U);
}

TEST_F(RuntimeOverNetwork, SaysWhereNobodyIs) {
    connect();
    loseVehicle();
    EXPECT_THAT(errorOf([this] { connect(); }),
                HasSubstr(L"no vehicle answers at 127.0.0.1:" + std::to_wstring(lastPort)));
}

} // namespace Quarlen::Kel_cpp::Tests
