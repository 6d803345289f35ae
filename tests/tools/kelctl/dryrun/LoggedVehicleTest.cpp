#include "tools/kelctl/dryrun/LoggedVehicle.hpp"

#include <map>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tests/support/ScriptedLink.hpp"

namespace Quarlen::Ctl::Tests {

using Quarlen::Tests::hex;
using std::chrono::milliseconds;

namespace {

/// Links that answer as told; "LOST" breaks with each request, others than these two are unknown.
class Vehicle final : public Uds::VehicleInterface {
public:
    explicit Vehicle(Quarlen::Tests::FakeClock& clock) : clock(clock) {}

    std::unique_ptr<Uds::VehicleLink> openLink(const std::wstring& name) override {
        if (name != L"LINK" && name != L"LOST") {
            throw Uds::LinkError(L"no such link");
        }
        auto link = std::make_unique<Link>(clock, name == L"LOST");
        last = link.get();
        return link;
    }

    class Link final : public Quarlen::Tests::ScriptedLink {
    public:
        Link(Quarlen::Tests::FakeClock& clock, bool breaks) : ScriptedLink(clock), breaks(breaks) {}
        void send(const Uds::Bytes& request) override {
            ScriptedLink::send(request);
            if (breaks) {
                throw Uds::LinkError(L"cut");
            }
        }

        void breakNow() { breaks = true; }

    private:
        bool breaks;
    };

    Link* last = nullptr;

private:
    Quarlen::Tests::FakeClock& clock;
};

class LoggedLink : public testing::Test {
protected:
    static const char* nameOf(LinkEvent::Kind kind) {
        static const std::map<LinkEvent::Kind, const char*> names{
            {LinkEvent::Kind::Request, ">"},
            {LinkEvent::Kind::Response, "<"},
            {LinkEvent::Kind::Silence, "silence "},
            {LinkEvent::Kind::Lost, "lost "},
            {LinkEvent::Kind::KeepAlive, "keep "}};
        return names.at(kind);
    }

    void exchange(Uds::VehicleLink& link, const char* request, const char* response) {
        vehicle->last->answerNext({{milliseconds(1), hex(response)}});
        link.send(hex(request));
        (void)link.receive(milliseconds(10));
    }
    /// TesterPresent is sent and told of, or neither.
    bool isKept() {
        log.clear();
        logged.keepSessions();
        EXPECT_TRUE(log.empty() || log == "keep 3E 80;") << log;
        return !log.empty();
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<Vehicle> vehicle = std::make_shared<Vehicle>(clock);
    std::string log;
    LoggedVehicle logged{vehicle, [this](const LinkEvent& event) {
                             log += nameOf(event.kind) + hex(event.bytes) +
                                    std::string(event.text.begin(), event.text.end()) + ";";
                         }};
};

} // namespace

TEST_F(LoggedLink, TellsRequestsAndResponsesAndPassesThemOn) {
    const auto link = logged.openLink(L"LINK");
    vehicle->last->answerNext(
        {{milliseconds(1), hex("7F 22 78")}, {milliseconds(2), hex("62 01")}});
    link->send(hex("22 01"));
    EXPECT_EQ(hex(link->receive(milliseconds(10)).value()), "7F 22 78");
    EXPECT_EQ(hex(link->receive(milliseconds(10)).value()), "62 01");
    EXPECT_FALSE(link->receive(milliseconds(10)));
    EXPECT_EQ(log, ">22 01;<7F 22 78;<62 01;");
    EXPECT_EQ(vehicle->last->requests(), std::vector<Uds::Bytes>{hex("22 01")});
}

TEST_F(LoggedLink, TellsASilenceWithTheNextRequestOrAtItsEnd) {
    auto link = logged.openLink(L"LINK");
    vehicle->last->answerNext({});
    vehicle->last->answerNext({{milliseconds(1), hex("7F 22 78")}});
    link->send(hex("22 01"));
    link->send(hex("22 02"));
    (void)link->receive(milliseconds(10));
    link.reset();
    EXPECT_EQ(log, ">22 01;silence 22 01;>22 02;<7F 22 78;silence 22 02;");
}

TEST_F(LoggedLink, IsSilentWithoutAWordWhereTheRequestWantsNoAnswer) {
    auto link = logged.openLink(L"LINK");
    link->send(hex("3E 80"));
    link.reset();
    EXPECT_EQ(log, ">3E 80;");
}

TEST_F(LoggedLink, TellsWhenItIsLost) {
    EXPECT_THROW(logged.openLink(L"LOST")->send(hex("22 01")), Uds::LinkError);
    EXPECT_THROW((void)logged.openLink(L"OTHER"), Uds::LinkError);
    EXPECT_EQ(log, ">22 01;lost 22 01cut;lost no such link;");
}

TEST_F(LoggedLink, IsKeptOnceAKeyIsAcceptedUntilItsEnd) {
    auto link = logged.openLink(L"LINK");
    exchange(*link, "27 01", "67 01 12 34");
    EXPECT_FALSE(isKept());
    exchange(*link, "27 02", "7F 27 35");
    EXPECT_FALSE(isKept());
    exchange(*link, "27 02", "67 02");
    EXPECT_TRUE(isKept());
    EXPECT_EQ(vehicle->last->requests().back(), hex("3E 80"));
    exchange(*link, "22 01", "62 01");
    EXPECT_TRUE(isKept());
    link.reset();
    EXPECT_FALSE(isKept());
}

TEST_F(LoggedLink, IsKeptWhereThereIsNothingToUnlock) {
    const auto link = logged.openLink(L"LINK");
    exchange(*link, "27 01", "67 01 00 00");
    EXPECT_TRUE(isKept());
}

TEST_F(LoggedLink, IsNotKeptWithoutAnUnlock) {
    const auto link = logged.openLink(L"LINK");
    EXPECT_FALSE(isKept());
    for (const auto& [request, response] :
         {std::pair("10 03", "50 03"), std::pair("22 02", "62 02")}) {
        exchange(*link, request, response);
        EXPECT_FALSE(isKept()) << request;
    }
}

TEST_F(LoggedLink, IsNoLongerKeptAfterANewSessionOrAReset) {
    for (const auto& [request, response] :
         {std::pair("10 01", "50 01"), std::pair("11 01", "51 01")}) {
        const auto link = logged.openLink(L"LINK");
        exchange(*link, "27 02", "67 02");
        exchange(*link, request, response);
        EXPECT_FALSE(isKept()) << request;
    }
}

TEST_F(LoggedLink, IsNotKeptWhileAnExchangeIsUnderWay) {
    const auto link = logged.openLink(L"LINK");
    exchange(*link, "27 02", "67 02");
    vehicle->last->answerNext(
        {{milliseconds(1), hex("7F 22 78")}, {milliseconds(2), hex("62 01")}});
    link->send(hex("22 01"));
    EXPECT_FALSE(isKept());
    (void)link->receive(milliseconds(10));
    EXPECT_FALSE(isKept());
    (void)link->receive(milliseconds(10));
    EXPECT_TRUE(isKept());
}

TEST_F(LoggedLink, OfAJobIsNotKept) {
    std::unique_ptr<Uds::VehicleLink> ofAJob;
    std::thread([&] { ofAJob = logged.openLink(L"LINK"); }).join();
    exchange(*ofAJob, "27 02", "67 02");
    EXPECT_FALSE(isKept());
}

TEST_F(LoggedLink, TellsWhenASessionCannotBeKept) {
    const auto link = logged.openLink(L"LINK");
    exchange(*link, "27 02", "67 02");
    vehicle->last->breakNow();
    log.clear();
    logged.keepSessions();
    EXPECT_EQ(log, "keep 3E 80;lost 3E 80cut;");
}

} // namespace Quarlen::Ctl::Tests
