#include <gmock/gmock.h>

#include "tests/kel_server/ServerStartFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Tests::ethernetAdapter;
using Tests::WaitedLongEnough;
using StartFromArguments = Tests::ServerStartFixture;

TEST_F(StartFromArguments, UsesPort58000WithoutAPort) {
    environment.networkAdapters = [] { return std::vector{ethernetAdapter()}; };

    fromArguments({L"eth0"});

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.7:58000)"));
}

TEST_F(StartFromArguments, UsesTheGivenPort) {
    fromArguments({L"10.0.0.5", L"58005"});

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.5:58005)"));
}

TEST_F(StartFromArguments, TakesAPortThatIsNoNumberForZero) {
    fromArguments({L"10.0.0.5", L"port"});

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.5:0)"));
}

TEST_F(StartFromArguments, HandsAUrlOnWithoutAPort) {
    fromArguments({L"https://host/kel", L"58005"});

    EXPECT_THAT(starts(), ElementsAre("startServer(https://host/kel)"));
}

TEST_F(StartFromArguments, TakesEthAloneForAnAddress) {
    fromArguments({L"eth"});

    EXPECT_THAT(starts(), ElementsAre("startServer(eth:58000)"));
}

TEST_F(StartFromArguments, KeepsAndPrintsTheAddressThatTheRuntimeReturns) {
    api->startedAddress = [](const std::wstring&) { return L"10.0.0.5:4711"; };

    fromArguments({L"10.0.0.5", L"0"});

    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:4711"));
    EXPECT_EQ(printed(), "server address: 10.0.0.5:4711\n");
}

TEST_F(StartFromArguments, WaitsForeverForAnAdapterThatNeverResolves) {
    environment.networkAdapters = [] { return std::vector{ethernetAdapter()}; };
    giveUpAfter(1000);

    EXPECT_THROW(fromArguments({L"wg0"}), WaitedLongEnough);

    EXPECT_THAT(starts(), IsEmpty());
    EXPECT_THAT(clock.sleeps(), testing::Each(milliseconds(3000)));
}

TEST_F(StartFromArguments, AsksAgainForTheAdaptersAfterEveryWait) {
    int asked = 0;
    environment.networkAdapters = [&asked] {
        return ++asked < 3 ? std::vector<Platform::NetworkAdapter>()
                           : std::vector{ethernetAdapter()};
    };

    fromArguments({L"eth0"});

    EXPECT_EQ(printed(), "waiting for network...\nwaiting for network...\n"
                         "server address: 10.0.0.7:58000\n");
    EXPECT_THAT(clock.sleeps(), ElementsAre(milliseconds(3000), milliseconds(3000)));
}

TEST_F(StartFromArguments, GoesOnWaitingForTheNetworkAfterAStopRequest) {
    clock.onSleep([this](milliseconds) { state.stopRequested->store(true); });
    int asked = 0;
    environment.networkAdapters = [&asked] {
        return ++asked < 4 ? std::vector<Platform::NetworkAdapter>()
                           : std::vector{ethernetAdapter()};
    };

    fromArguments({L"eth0"});

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.7:58000)"));
    EXPECT_EQ(clock.sleeps().size(), 3U);
    EXPECT_TRUE(state.stopRequested->load());
}

TEST_F(StartFromArguments, SleepsBeforeItSaysThatItWaits) {
    std::vector<std::string> printedAtSleep;
    clock.onSleep([&](milliseconds) { printedAtSleep.push_back(printed()); });
    int asked = 0;
    environment.networkAdapters = [&asked] {
        return ++asked < 3 ? std::vector<Platform::NetworkAdapter>()
                           : std::vector{ethernetAdapter()};
    };

    fromArguments({L"eth0"});

    EXPECT_THAT(printedAtSleep, ElementsAre("", "waiting for network...\n"));
}

TEST_F(StartFromArguments, LetsTheRuntimesExceptionPass) {
    api->throwIn("startServer", L"in use", 98);

    EXPECT_THROW(fromArguments({L"10.0.0.5"}), Kel_cpp::KelApiException);

    EXPECT_THAT(state.startedAddresses, IsEmpty());
}

TEST_F(StartFromArguments, LeavesPlaceholdersAlone) {
    environment.hostName = [] { return std::wstring(L"bench-pc"); };
    state.brokerUrl = L"http://broker";

    fromArguments({L"$$HOSTNAME$$$$BROKERURL$$"});

    EXPECT_THAT(starts(), ElementsAre("startServer($$HOSTNAME$$$$BROKERURL$$:58000)"));
}

} // namespace

} // namespace Quarlen::Tests
