#include "doip/Opening.hpp"

#include "tests/doip/DoipTester.hpp"
#include "tests/doip/SearchedVehicle.hpp"
#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::EndsWith;
using testing::HasSubstr;

} // namespace

TEST_F(DoipTester, AsksForTheRoutingWithItsAddressAndTheTypeOfTheSettings) {
    auto settings = vehicle.settings();
    settings.tester = 0x0E81;
    settings.activation = activationCentralSecurity;
    make(settings);
    auto opening = openLater();
    vehicle.accept();
    EXPECT_EQ(hex(vehicle.expect(PayloadType::RoutingActivationRequest).payload),
              "0E 81 E0 00 00 00 00");
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E81, 0x1000, 0x10}));
    opening.get();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(DoipTester, ARefusedRoutingSaysItsCode) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.activate(RoutingCode::SourceAddressInUse);
    try {
        opening.get();
        FAIL() << "it was let in";
    } catch (const Uds::RoutingRefused& refusal) {
        EXPECT_EQ(refusal.code(), 0x03);
        EXPECT_THAT(refusal.message(),
                    HasSubstr(L"does not let tester 0x0E80 in: the source address is in use on "
                              L"another socket (0x03)"));
    }
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Closed);
}

TEST_F(DoipTester, WaitsForAConfirmationInTheVehicle) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.activate(RoutingCode::ConfirmationRequired);
    {
        std::unique_lock lock(mutex);
        noted.wait(lock, [this] { return !notes.empty(); });
        EXPECT_THAT(notes[0], EndsWith(routingCodeText(0x11)));
    }
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E80, 0x1000, 0x10}));
    EXPECT_NO_THROW(opening.get());
}

TEST_F(DoipTester, WaitsForAConfirmationOnlySoLong) {
    auto settings = vehicle.settings();
    settings.times.confirmation = 20ms;
    make(settings);
    auto opening = openLater();
    vehicle.activate(RoutingCode::ConfirmationRequired);
    // Each that says so again begins no new time.
    const auto again = encode(RoutingActivationResponse{0x0E80, 0x1000, 0x11});
    while (opening.wait_for(1ms) != std::future_status::ready) {
        vehicle.trySend(encode(PayloadType::RoutingActivationResponse, again));
    }
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                HasSubstr(L"does not answer the routing activation within 20 ms"));
}

TEST_F(DoipTester, EachCodeButTwoKeepsTheTesterOut) {
    for (int code = 0; code <= 0xFF; ++code) {
        const auto byte = static_cast<std::uint8_t>(code);
        if (byte == 0x10 || byte == 0x11) {
            continue;
        }
        SCOPED_TRACE(code);
        make(vehicle.settings());
        auto opening = openLater();
        vehicle.activate(static_cast<RoutingCode>(byte));
        EXPECT_THAT(messageOf<Uds::RoutingRefused>(std::move(opening)),
                    EndsWith(L" does not let tester 0x0E80 in: " + routingCodeText(byte)));
        reset();
    }
}

TEST_F(DoipTester, AConfirmationThatIsRefusedKeepsTheTesterOut) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.activate(RoutingCode::ConfirmationRequired);
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E80, 0x1000, 0x05}));
    EXPECT_THAT(messageOf<Uds::RoutingRefused>(std::move(opening)), HasSubstr(L"(0x05)"));
}

TEST_F(DoipTester, TheFirstOfTwoActivationsCounts) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    vehicle.expect(PayloadType::RoutingActivationRequest);
    Bytes both = encode(PayloadType::RoutingActivationResponse,
                        encode(RoutingActivationResponse{0x0E80, 0x1000, 0x10}));
    const Bytes second = encode(PayloadType::RoutingActivationResponse,
                                encode(RoutingActivationResponse{0x0E80, 0x2000, 0x00}));
    both.insert(both.end(), second.begin(), second.end());
    vehicle.sendBytes(both);
    ASSERT_NO_THROW(opening.get());
    expectAlive();
    const std::lock_guard lock(mutex);
    ASSERT_EQ(notes.size(), 1U);
    EXPECT_THAT(notes[0], HasSubstr(L"a routing activation that nobody has asked for"));
}

TEST_F(DoipTester, ARefusedHeaderEndsTheOpeningWithItsCause) {
    for (const auto code :
         {HeaderNackCode::IncorrectPattern, HeaderNackCode::UnknownPayloadType,
          HeaderNackCode::MessageTooLarge, HeaderNackCode::OutOfMemory,
          HeaderNackCode::InvalidPayloadLength, static_cast<HeaderNackCode>(0x99)}) {
        make(vehicle.settings());
        auto opening = openLater();
        vehicle.accept();
        vehicle.expect(PayloadType::RoutingActivationRequest);
        vehicle.send(PayloadType::HeaderNack, encode(code));
        EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                    EndsWith(L"does not understand the tester: " +
                             headerNackText(static_cast<std::uint8_t>(code))));
        reset();
    }
}

TEST_F(DoipTester, TheActivationOfAnotherTesterIsNotItsOwn) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    vehicle.expect(PayloadType::RoutingActivationRequest);
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E99, 0x1000, 0x10}));
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E80, 0x1000, 0x06}));
    EXPECT_THROW(opening.get(), Uds::RoutingRefused);
}

TEST_F(DoipTester, SpeaksTheVersionOfAVehicleThatDoesNotUnderstandIts) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    EXPECT_EQ(vehicle.next().version, version2019);
    // It has more to say, which is no message of the next connection.
    Bytes refusal =
        encode(PayloadType::HeaderNack, encode(HeaderNackCode::IncorrectPattern), version2012);
    refusal.push_back(version2012);
    vehicle.sendBytes(refusal);
    EXPECT_TRUE(vehicle.isLeft());
    vehicle.close();
    vehicle.accept();
    EXPECT_EQ(vehicle.next().version, version2012);
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E80, 0x1000, 0x10}), version2012);
    opening.get();
    const auto end = endOf(unit);
    send(*end, "3E 00");
    EXPECT_EQ(vehicle.next().version, version2012);
}

TEST_F(DoipTester, SpeaksTheVersionOfTheVehicleThatItHasFound) {
    auto settings = vehicle.settings();
    settings.host.clear();
    SearchedVehicle searched(vehicle.takeUdp());
    make(settings);
    auto opening = openLater();
    searched.announce(version2012);
    vehicle.accept();
    EXPECT_EQ(vehicle.next().version, version2012);
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E80, 0x1000, 0x10}), version2012);
    EXPECT_NO_THROW(opening.get());
}

TEST_F(DoipTester, CloseEndsTheSearchForAVehicle) {
    auto settings = vehicle.settings();
    settings.host.clear();
    SearchedVehicle searched(vehicle.takeUdp());
    make(settings);
    auto opening = openLater();
    searched.receive();
    tester->close();
    EXPECT_THROW(opening.get(), Uds::Cancelled);
}

TEST_F(DoipTester, NonsenseDuringTheActivationEndsTheConnection) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    vehicle.expect(PayloadType::RoutingActivationRequest);
    vehicle.sendBytes(hex("03 FD 00 06 00 00 00 00"));
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)), HasSubstr(L"03 FD"));
    EXPECT_TRUE(vehicle.isLeft());
}

TEST_F(DoipTester, AVehicleThatClosesDuringTheActivationIsNamed) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    vehicle.expect(PayloadType::RoutingActivationRequest);
    vehicle.close();
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                HasSubstr(L"has closed the connection"));
}

TEST_F(DoipTester, AVehicleThatDoesNotAnswerTheActivationIsGivenUp) {
    auto settings = vehicle.settings();
    settings.times.control = 20ms;
    make(settings);
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(openLater()),
                HasSubstr(L"does not answer the routing activation within 20 ms"));
}

TEST_F(DoipTester, NobodyAtTheAddressIsTold) {
    auto settings = vehicle.settings();
    settings.port = Quarlen::Tests::freePort();
    settings.times.connecting = 300ms;
    make(settings);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(openLater()),
                HasSubstr(L"no vehicle answers at 127.0.0.1:"));
    // It may restart just now: nobody gives it up while there is time for one more attempt.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
}

TEST_F(DoipTester, ACancelEndsAnActivationThatIsNotAnswered) {
    make(vehicle.settings());
    std::stop_source cancel;
    auto opening = openLater(cancel.get_token());
    vehicle.accept();
    cancel.request_stop();
    EXPECT_THROW(opening.get(), Uds::Cancelled);
}

TEST_F(DoipTester, CloseEndsAnActivationThatIsNotAnswered) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    tester->close();
    EXPECT_THROW(opening.get(), Uds::Cancelled);
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Closed);
}

TEST_F(DoipTester, ANameIsLookedUp) {
    auto settings = vehicle.settings();
    settings.host = "localhost";
    make(settings);
    auto opening = openLater();
    vehicle.activate();
    EXPECT_NO_THROW(opening.get());
}

TEST_F(DoipTester, AVehicleAtAnIpv6AddressIsReachedAndNamed) {
    boost::asio::io_context context;
    boost::asio::ip::tcp::acceptor acceptor(context);
    boost::system::error_code none;
    acceptor.open(boost::asio::ip::tcp::v6(), none);
    acceptor.bind({boost::asio::ip::address_v6::loopback(), 0}, none);
    acceptor.listen(1, none);
    if (none) {
        // Containers and kernels without IPv6 have no such address to connect to.
        GTEST_SKIP() << "there is no IPv6";
    }
    auto settings = vehicle.settings();
    settings.host = "::1";
    settings.port = acceptor.local_endpoint().port();
    settings.times.connecting = 50ms;
    const std::wstring place = L"[::1]:" + std::to_wstring(settings.port);
    make(settings);
    auto opening = openLater();
    acceptor.accept().close();
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)), HasSubstr(place));
    acceptor.close();
    make(settings);
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(openLater()),
                HasSubstr(L"no vehicle answers at " + place));
}

} // namespace Quarlen::Doip::Tests
