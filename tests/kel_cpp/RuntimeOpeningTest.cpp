#include <future>

#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/kel_cpp/SlowVehicle.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// A runtime whose vehicle is being opened on another thread, which takes for ever.
class RuntimeOpening : public RuntimeFixture {
protected:
    void SetUp() override {
        RuntimeEnvironment environment{folder.config(), folder.base(), clock};
        environment.connectTo = [this](const auto&) { return vehicle; };
        runtime = std::make_shared<Runtime>(environment);
        runtime->initialize();
        runtime->selectProject(L"Car_DEMO0000000042");
        runtime->selectVehicleInformation(L"VIT_A");
    }
    void TearDown() override { runtime->selectProject(L""); }

    template <class Operation>
    void begin(Operation operation) {
        error = std::async(std::launch::async, [operation] { return errorOf(operation); });
        vehicle->waitUntilOpening();
    }
    void beginConnecting() {
        begin([this] { runtime->connectVehicle(); });
    }

    std::shared_ptr<SlowVehicle> vehicle = std::make_shared<SlowVehicle>();
    std::future<std::wstring> error;
    const std::wstring cancelled =
        L"connecting to the vehicle of project \"Car_DEMO0000000042\" was cancelled";
};

} // namespace

TEST_F(RuntimeOpening, EndsOnceTheProjectIsDeselected) {
    beginConnecting();
    runtime->selectProject(L"");
    EXPECT_EQ(error.get(), cancelled);
    EXPECT_EQ(connectionCount(*runtime), 0U);
}

TEST_F(RuntimeOpening, EndsOnceAnotherProjectIsSelected) {
    beginConnecting();
    runtime->selectProject(L"VIN_Reader");
    EXPECT_EQ(error.get(), cancelled);
}

TEST_F(RuntimeOpening, EndsOnceAnotherVehicleInformationIsSelected) {
    beginConnecting();
    runtime->selectVehicleInformation(L"VIT_B");
    EXPECT_EQ(error.get(), cancelled);
}

TEST_F(RuntimeOpening, GoesOnWhenTheSameVehicleInformationIsSelectedAgain) {
    beginConnecting();
    runtime->selectVehicleInformation(L"VIT_A");
    EXPECT_EQ(error.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
}

TEST_F(RuntimeOpening, OfAnIdentificationEndsInTheSameWay) {
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    begin([&] { runtime->identifyVehicle(targets, 0, identification); });
    runtime->selectProject(L"");
    EXPECT_EQ(error.get(), cancelled);
}

TEST_F(RuntimeOpening, CountsAsAConnectionThatCanBeAborted) {
    beginConnecting();
    RecordList<ActiveConnection> connections;
    runtime->getActiveConnections(connections);
    ASSERT_EQ(connections.size(), 1U);
    EXPECT_EQ(connections[0]->description,
              L"vehicle of project Car_DEMO0000000042 over Simulation, being opened");
}

TEST_F(RuntimeOpening, EndsForAllWhoWaitForIt) {
    beginConnecting();
    auto other =
        std::async(std::launch::async, [&] { return errorOf([&] { runtime->connectVehicle(); }); });
    runtime->selectProject(L"");
    EXPECT_EQ(error.get(), cancelled);
    EXPECT_NE(other.get(), L"");
}

} // namespace Quarlen::Kel_cpp::Tests
