#include "tests/doip/DoipTester.hpp"
#include "tests/doip/SearchedVehicle.hpp"
#include "tests/doip/UdpVehicle.hpp"

// Where the settings name an address and a vehicle, only that vehicle is connected.

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

class NamedVehicle : public DoipTester {
protected:
    [[nodiscard]] DoipSettings named(const std::string& vin) const {
        auto settings = vehicle.settings();
        settings.vin = vin;
        return settings;
    }
    std::future<void> beginToOpen(const DoipSettings& settings, std::stop_token cancel = {}) {
        make(settings);
        auto opening = openLater(std::move(cancel));
        vehicle.accept();
        return opening;
    }
    void letIn() {
        vehicle.expect(PayloadType::RoutingActivationRequest);
        vehicle.send(
            PayloadType::RoutingActivationResponse,
            encode(RoutingActivationResponse{vehicle.tester, ScriptedVehicle::entity, 0x10}));
    }

    SearchedVehicle asked{vehicle.takeUdp()};
    const VehicleAnnouncement own = announcementOf("WKLDEMO0000000042", 1);
};

} // namespace

TEST_F(NamedVehicle, IsConnectedOnceItHasSaidThatItIsTheOne) {
    auto settings = named(own.vin);
    settings.eid = own.eid;
    auto opening = beginToOpen(settings);
    asked.announce(version2019, own);
    letIn();
    EXPECT_NO_THROW(opening.get());
}

TEST_F(NamedVehicle, IsNotTheOneWithAnotherVin) {
    auto opening = beginToOpen(named("WKLDEMO0000000043"));
    asked.announce(version2019, own);
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                AllOf(HasSubstr(L"the vehicle with the VIN WKLDEMO0000000043 is not at 127.0.0.1:" +
                                std::to_wstring(vehicle.settings().port)),
                      HasSubstr(L": there is the vehicle WKLDEMO0000000042 (EID ")));
    EXPECT_TRUE(vehicle.isLeft());
}

TEST_F(NamedVehicle, IsNotTheOneWithAnotherEid) {
    auto settings = vehicle.settings();
    settings.eid = announcementOf(own.vin, 2).eid;
    auto opening = beginToOpen(settings);
    asked.announce(version2019, own);
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                HasSubstr(L"the vehicle with the EID 02:00:00:00:00:02 is not at"));
}

TEST_F(NamedVehicle, HasToSayWhichOneItIs) {
    auto settings = named(own.vin);
    settings.times.control = 30ms;
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(beginToOpen(settings)),
                HasSubstr(L"what is there does not say over UDP which vehicle it is"));
}

TEST_F(NamedVehicle, IsNotWaitedForAfterACancel) {
    std::stop_source cancel;
    auto opening = beginToOpen(named(own.vin), cancel.get_token());
    asked.receive();
    cancel.request_stop();
    EXPECT_THROW(opening.get(), Uds::Cancelled);
}

TEST_F(NamedVehicle, IsNotWaitedForAfterAClose) {
    auto opening = beginToOpen(named(own.vin));
    asked.receive();
    tester->close();
    EXPECT_THROW(opening.get(), Uds::Cancelled);
}

} // namespace Quarlen::Doip::Tests
