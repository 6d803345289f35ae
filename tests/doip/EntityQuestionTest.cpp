#include "doip/EntityQuestion.hpp"

#include "tests/doip/UdpVehicle.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

using EntityQuestion = UdpVehicle;

} // namespace

TEST_F(EntityQuestion, AsksAnEntityForItsStatus) {
    auto status = std::async(std::launch::async, [this] { return entityStatus(settings()); });
    EXPECT_TRUE(receive().is(PayloadType::EntityStatusRequest));
    send(encode(PayloadType::EntityStatusResponse, encode(EntityStatus{true, 8, 3, 4096})));
    const EntityStatus told = status.get();
    EXPECT_EQ(told.maxSockets, 8);
    EXPECT_EQ(told.openSockets, 3);
    EXPECT_EQ(told.maxDataSize, 4096U);
}

TEST_F(EntityQuestion, AsksAVehicleForItsPowerMode) {
    auto mode = std::async(std::launch::async, [this] { return powerMode(settings()); });
    EXPECT_TRUE(receive().is(PayloadType::PowerModeRequest));
    send(encode(PayloadType::PowerModeResponse, encode(PowerMode::Ready)));
    EXPECT_EQ(mode.get(), 0x01);
}

TEST_F(EntityQuestion, AsksAnEntityInTheVersionThatItSpeaks) {
    auto mode = std::async(std::launch::async, [this] { return powerMode(settings()); });
    EXPECT_EQ(receive().version, version2019);
    send(encode(PayloadType::HeaderNack, encode(HeaderNackCode::IncorrectPattern), version2012));
    EXPECT_EQ(receive().version, version2012);
    send(encode(PayloadType::PowerModeResponse, encode(PowerMode::NotReady), version2012));
    EXPECT_EQ(mode.get(), 0x00);
}

TEST_F(EntityQuestion, AnEntityThatIsSilentInItsOwnVersionHasNotRefused) {
    auto wanted = settings();
    wanted.times.control = 300ms;
    auto mode = std::async(std::launch::async, [wanted] { return powerMode(wanted); });
    receive();
    send(encode(PayloadType::HeaderNack, encode(HeaderNackCode::IncorrectPattern), version2012));
    try {
        static_cast<void>(mode.get());
        FAIL() << "it was silent";
    } catch (const Uds::ConnectionLost& error) {
        EXPECT_THAT(error.message(), HasSubstr(L"does not answer the power mode"));
    }
}

TEST_F(EntityQuestion, AnEntityThatDoesNotAnswerIsNamed) {
    auto silent = settings();
    silent.times.control = 30ms;
    try {
        static_cast<void>(powerMode(silent));
        FAIL() << "it was silent";
    } catch (const Uds::ConnectionLost& error) {
        EXPECT_EQ(error.message(), L"the vehicle at 127.0.0.1:" + std::to_wstring(silent.port) +
                                       L" does not answer the power mode request (0x4003) within "
                                       L"30 ms");
    }
}

} // namespace Quarlen::Doip::Tests
