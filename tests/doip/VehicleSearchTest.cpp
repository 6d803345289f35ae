#include "doip/VehicleSearch.hpp"

#include <functional>
#include <memory>
#include <vector>

#include "platform/ListeningSocket.hpp"
#include "tests/doip/UdpVehicle.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class VehicleSearch : public UdpVehicle {
protected:
    /// The notes so far; to be read once the search has ended.
    static std::shared_ptr<std::vector<std::wstring>> noted(DoipSettings& settings) {
        auto notes = std::make_shared<std::vector<std::wstring>>();
        settings.onNote = [notes](const std::wstring& text) { notes->push_back(text); };
        return notes;
    }
    /// Those of a search that finds a vehicle.
    template <class Change>
    std::vector<std::wstring> notesOf(Change change, std::uint8_t activation = activationDefault) {
        auto wanted = settings();
        wanted.activation = activation;
        const auto notes = noted(wanted);
        auto search = searchLater(wanted);
        receive();
        VehicleAnnouncement told = announcementOf("WKLDEMO0000000042", 7);
        change(told);
        send(encode(PayloadType::VehicleAnnouncement, encode(told)));
        search.get();
        return *notes;
    }
    /// Of searches that are over.
    void dropRequests() {
        while (socket.available() > 0) {
            receive();
        }
    }
    /// False where the search is over before it hears the answer.
    bool findsAfterALoss(std::chrono::milliseconds time) {
        auto wanted = settings();
        wanted.times.control = time;
        dropRequests();
        auto search = searchLater(wanted);
        receive();
        const auto first = asker;
        // Those of one attempt come from several sockets.
        do {
            receive();
        } while (asker != first);
        announce("WKLDEMO0000000042", 7);
        try {
            search.get();
            return true;
        } catch (const Uds::ConnectionLost&) {
            return false;
        }
    }
    /// How many vehicles answer, one of them twice.
    std::size_t findsWithin(std::chrono::milliseconds time) {
        dropRequests();
        auto search =
            std::async(std::launch::async, [=, this] { return findVehicles(settings(), time); });
        receive();
        announce("WKLDEMO0000000042", 1);
        announce("WKLDEMO0000000043", 2);
        announce("WKLDEMO0000000042", 1);
        return search.get().size();
    }
    /// Those of a search that finds the vehicle 42, and another one before it tells its power mode.
    std::vector<std::wstring> notesBeside(
        const std::string& otherVin, std::uint8_t otherEid, PowerMode mode,
        const std::function<void()>& beforeMode = [] {}) {
        auto wanted = settings();
        wanted.times.lookAround = 60s;
        const auto notes = noted(wanted);
        auto search = searchLater(wanted);
        receive();
        announce("WKLDEMO0000000042", 1);
        announce(otherVin, otherEid);
        while (!receive().is(PayloadType::PowerModeRequest)) {
        }
        beforeMode();
        send(encode(PayloadType::PowerModeResponse, encode(mode)));
        search.get();
        return *notes;
    }
};

} // namespace

TEST_F(VehicleSearch, AsksEverybodyInNoParticularVersion) {
    auto search = searchLater(settings());
    const Message request = receive();
    EXPECT_TRUE(request.is(PayloadType::VehicleIdentificationRequest));
    EXPECT_EQ(request.version, versionUnknown);
    announce("WKLDEMO0000000042", 7, version2012);
    const FoundVehicle found = search.get();
    EXPECT_EQ(found.announcement.vin, "WKLDEMO0000000042");
    EXPECT_EQ(found.announcement.logicalAddress, 0x1000);
    EXPECT_EQ(found.host, "127.0.0.1");
    EXPECT_EQ(found.version, version2012);
}

TEST_F(VehicleSearch, TakesNoVersionThatIsNone) {
    auto search = searchLater(settings());
    receive();
    announce("WKLDEMO0000000042", 7, versionUnknown);
    EXPECT_EQ(search.get().version, version2019);
}

TEST_F(VehicleSearch, AsksForTheVehicleWithTheVin) {
    auto wanted = settings();
    wanted.vin = "WKLDEMO0000000042";
    auto search = searchLater(wanted);
    const Message request = receive();
    EXPECT_TRUE(request.is(PayloadType::VehicleIdentificationRequestWithVin));
    EXPECT_EQ(decodeVin(request.payload), wanted.vin);
    announce("WKLDEMO0000000043", 1);
    announce(wanted.vin, 2);
    EXPECT_EQ(search.get().announcement.vin, wanted.vin);
}

TEST_F(VehicleSearch, AsksForTheVehicleWithTheEid) {
    auto wanted = settings();
    wanted.eid = EntityId{2, 0, 0, 0, 0, 9};
    auto search = searchLater(wanted);
    const Message request = receive();
    EXPECT_TRUE(request.is(PayloadType::VehicleIdentificationRequestWithEid));
    EXPECT_EQ(hex(request.payload), "02 00 00 00 00 09");
    announce("", 8);
    announce("", 9);
    EXPECT_EQ(search.get().announcement.eid, *wanted.eid);
}

TEST_F(VehicleSearch, IsContentWithNothingButBothVinAndEid) {
    auto wanted = settings();
    wanted.vin = "WKLDEMO0000000042";
    wanted.eid = EntityId{2, 0, 0, 0, 0, 9};
    auto search = searchLater(wanted);
    EXPECT_TRUE(receive().is(PayloadType::VehicleIdentificationRequestWithEid));
    announce("WKLDEMO0000000043", 9);
    announce(wanted.vin, 8);
    announce(wanted.vin, 9);
    const FoundVehicle found = search.get();
    EXPECT_EQ(found.announcement.vin, wanted.vin);
    EXPECT_EQ(found.announcement.eid, *wanted.eid);
}

TEST_F(VehicleSearch, IgnoresWhatIsNoAnnouncement) {
    auto search = searchLater(settings());
    receive();
    send(hex("03 FC"));
    send(hex("03 FC 00 04 00 00 00 01 00"));
    send(hex("03 FC 12 34 00 00 00 00"));
    announce("WKLDEMO0000000042", 7);
    EXPECT_EQ(search.get().announcement.vin, "WKLDEMO0000000042");
}

TEST_F(VehicleSearch, ANewRequestFollowsOneThatIsLost) {
    // Where the machine stands still for so long that the search is over, the next one takes
    // longer.
    bool isFound = false;
    for (const auto time : {3s, 12s, 48s}) {
        isFound = isFound || findsAfterALoss(time);
    }
    EXPECT_TRUE(isFound);
}

TEST_F(VehicleSearch, AsksThreeTimesFromTheSameSocket) {
    auto wanted = settings();
    wanted.times.control = 300ms;
    EXPECT_THROW(static_cast<void>(findVehicle(wanted, {}, {})), Uds::ConnectionLost);
    receive();
    const auto first = asker;
    int requests = 1;
    while (socket.available() > 0) {
        receive();
        requests += asker == first ? 1 : 0;
    }
    EXPECT_EQ(requests, 3);
}

TEST_F(VehicleSearch, SaysWhomItHasNotFound) {
    auto wanted = settings();
    wanted.times.control = 30ms;
    const auto expectSaid = [&wanted](const std::wstring& whom) {
        try {
            static_cast<void>(findVehicle(wanted, {}, {}));
            FAIL() << "nobody was there";
        } catch (const Uds::ConnectionLost& error) {
            EXPECT_EQ(error.message(), L"no vehicle" + whom +
                                           L" answers or announces itself on UDP port " +
                                           std::to_wstring(wanted.port));
        }
    };
    expectSaid(L"");
    wanted.vin = "WKLDEMO0000000042";
    expectSaid(L" with the VIN WKLDEMO0000000042");
    wanted.eid = EntityId{2, 0, 0, 0, 0, 9};
    expectSaid(L" with the VIN WKLDEMO0000000042 with the EID 02:00:00:00:00:09");
}

TEST_F(VehicleSearch, TellsWhatItHasFound) {
    const auto found = notesOf([](VehicleAnnouncement&) {});
    EXPECT_THAT(found, Contains(L"found the vehicle WKLDEMO0000000042 (EID 02:00:00:00:00:07, "
                                L"logical address 0x1000) at 127.0.0.1"));
    EXPECT_THAT(found, Not(Contains(HasSubstr(L"warning"))));
}

TEST_F(VehicleSearch, FindsAVehicleThatDoesNotKnowItsVin) {
    const auto withoutVin = notesOf([](VehicleAnnouncement& told) { told.vin.clear(); });
    EXPECT_THAT(withoutVin,
                Contains(HasSubstr(L"found a vehicle that does not know its VIN (EID")));
}

TEST_F(VehicleSearch, WarnsOfAnotherVehicleThatAnswersAndOfOneThatIsNotReady) {
    auto wanted = settings();
    wanted.times.lookAround = 60s;
    const auto notes = noted(wanted);
    auto search = searchLater(wanted);
    receive();
    announce("WKLDEMO0000000042", 1, version2012);
    announce("WKLDEMO0000000042", 1);
    announce("WKLDEMO0000000043", 2);
    Message request = receive();
    while (!request.is(PayloadType::PowerModeRequest)) {
        request = receive();
    }
    EXPECT_EQ(request.version, version2012);
    send(encode(PayloadType::PowerModeResponse, encode(PowerMode::NotReady)));
    EXPECT_EQ(search.get().announcement.vin, "WKLDEMO0000000042");
    EXPECT_THAT(*notes, Contains(HasSubstr(L"another vehicle")).Times(1));
    EXPECT_THAT(*notes, Contains(L"warning: another vehicle answers, too: the vehicle "
                                 L"WKLDEMO0000000043 (EID 02:00:00:00:00:02, logical address "
                                 L"0x1000) at 127.0.0.1; \"vin\" or \"eid\" of the interface says "
                                 L"which is meant"));
    EXPECT_THAT(*notes, Contains(L"warning: the vehicle's diagnostic power mode is not ready "
                                 L"(0x00)"));
}

TEST_F(VehicleSearch, WarnsOfAnotherEntityOfTheSameVehicle) {
    const auto notes = notesBeside("WKLDEMO0000000042", 2, PowerMode::Ready);
    EXPECT_THAT(notes, Contains(L"warning: another entity of this vehicle answers, too: the "
                                L"vehicle WKLDEMO0000000042 (EID 02:00:00:00:00:02, logical "
                                L"address 0x1000) at 127.0.0.1; \"eid\" of the interface says "
                                L"which is meant"));
}

TEST_F(VehicleSearch, IsContentWithAVehicleThatTellsNoPowerMode) {
    const auto notes = notesBeside("WKLDEMO0000000043", 2, PowerMode::NotSupported);
    EXPECT_THAT(notes, Not(Contains(HasSubstr(L"power mode"))));
}

TEST_F(VehicleSearch, TakesThePowerModeOfTheVehicleThatItHasFoundOnly) {
    // Its entity has the same number.
    const auto notes = notesBeside("WKLDEMO0000000043", 1, PowerMode::Ready, [this] {
        sendFromElsewhere(encode(PayloadType::PowerModeResponse, encode(PowerMode::NotReady)));
    });
    EXPECT_THAT(notes, Contains(HasSubstr(L"another vehicle answers, too: the vehicle "
                                          L"WKLDEMO0000000043")));
    EXPECT_THAT(notes, Not(Contains(HasSubstr(L"power mode"))));
}

TEST_F(VehicleSearch, TellsThatTheVehicleAsksForCentralSecurity) {
    EXPECT_THAT(notesOf([](VehicleAnnouncement& told) { told.furtherAction = 0x10; }),
                Contains(L"warning: the vehicle asks for more than the routing activation: routing "
                         L"activation of type 0xE0 (central security) (0x10)"));
}

TEST_F(VehicleSearch, IsContentWithAVehicleThatGetsCentralSecurity) {
    EXPECT_THAT(notesOf([](VehicleAnnouncement& told) { told.furtherAction = 0x10; },
                        activationCentralSecurity),
                Not(Contains(HasSubstr(L"warning"))));
}

TEST_F(VehicleSearch, SaysThatAnnouncementsAreNotHeardWhereThePortIsTaken) {
    if (Platform::socketsHearBroadcasts()) {
        // On Windows whoever asks to share a port gets it: it is never taken.
        GTEST_SKIP() << "whoever wants can share a port there";
    }
    auto wanted = settings();
    const auto notes = noted(wanted);
    auto search = searchLater(wanted);
    receive();
    announce("WKLDEMO0000000042", 7);
    search.get();
    ASSERT_FALSE(notes->empty());
    EXPECT_EQ(notes->front(), L"announcements are not heard: another program has the UDP port " +
                                  std::to_wstring(wanted.port));
}

TEST_F(VehicleSearch, ACancelOrACloseEndsIt) {
    auto wanted = settings();
    wanted.times.control = 24h;
    std::stop_source stop;
    auto cancelled = searchLater(wanted, stop.get_token());
    receive();
    auto closed = searchLater(wanted, {}, stop.get_token());
    receive();
    stop.request_stop();
    EXPECT_THROW(cancelled.get(), Uds::Cancelled);
    EXPECT_THROW(closed.get(), Uds::Cancelled);
}

TEST_F(VehicleSearch, FindsAllThatAnswerWithinTheTime) {
    std::size_t found = 0;
    for (const auto time : {1s, 4s, 16s, 64s}) {
        found = found == 2 ? found : findsWithin(time);
    }
    EXPECT_EQ(found, 2U);
}

} // namespace Quarlen::Doip::Tests
