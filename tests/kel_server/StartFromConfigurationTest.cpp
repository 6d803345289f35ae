#include <stdexcept>

#include <gmock/gmock.h>

#include "tests/kel_server/ServerStartFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Tests::ethernetAdapter;
using Tests::WaitedLongEnough;
using StartFromConfiguration = Tests::ServerStartFixture;

TEST_F(StartFromConfiguration, StartsEveryAddressInTheOrderOfTheFile) {
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"eth0", 58000);
    configureAddress(L"http://host:80", 58002);

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.5:58001)", "startServer(eth0:58000)",
                                      "startServer(http://host:80)"));
    EXPECT_EQ(printed(), "server address: 10.0.0.5:58001\nserver address: eth0:58000\n"
                         "server address: http://host:80\n");
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(StartFromConfiguration, ReplacesThePlaceholders) {
    environment.hostName = [] { return std::wstring(L"bench-pc"); };
    state.brokerUrl = L"http://broker";
    configureAddress(L"$$HOSTNAME$$", 58000);
    configureAddress(L"$$BROKERURL$$/x", 58001);

    fromConfiguration();

    EXPECT_THAT(starts(),
                ElementsAre("startServer(bench-pc:58000)", "startServer(http://broker/x)"));
    EXPECT_EQ(api->serverConfiguration->serverAddresses[0]->address, L"$$HOSTNAME$$");
}

TEST_F(StartFromConfiguration, SkipsAnAddressThatIsStartedAlready) {
    configureAddress(L"10.0.0.5");
    configureAddress(L"10.0.0.5");

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.5:58000)"));
}

TEST_F(StartFromConfiguration, SkipsWhateverIsStartedAlready) {
    for (int round = 0; round < 2; ++round) {
        configureAddress(L"10.0.0.5", 58001);
        configureAddress(L"10.0.0.6", 58002);
        configureAddress(L"10.0.0.7", 58003);
    }

    fromConfiguration();

    EXPECT_EQ(starts().size(), 3U);
}

TEST_F(StartFromConfiguration, SkipsAnAddressThatIsStartedAlreadyByAnotherText) {
    environment.hostName = [] { return std::wstring(L"bench-pc"); };
    configureAddress(L"bench-pc");
    configureAddress(L"$$HOSTNAME$$");

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(bench-pc:58000)"));
}

TEST_F(StartFromConfiguration, ReplacesThePlaceholdersBeforeItLooksForTheAddress) {
    environment.hostName = [] { return std::wstring(L"bench-pc"); };
    api->startedAddress = [](const std::wstring&) { return L"$$HOSTNAME$$:58000"; };
    configureAddress(L"10.0.0.5");
    configureAddress(L"$$HOSTNAME$$");

    fromConfiguration();

    EXPECT_THAT(starts(),
                ElementsAre("startServer(10.0.0.5:58000)", "startServer(bench-pc:58000)"));
}

TEST_F(StartFromConfiguration, WaitsOnWhereNothingButTheStartedIsConfigured) {
    state.startedAddresses = {L"10.0.0.5:58000"};
    configureAddress(L"10.0.0.5");
    giveUpAfter(3);

    EXPECT_THROW(fromConfiguration(), WaitedLongEnough);

    EXPECT_THAT(starts(), IsEmpty());
}

TEST_F(StartFromConfiguration, HasStartedAlsoAnAddressThatItDoesNotKeep) {
    state.startedAddresses = {L"10.0.0.5:58000"};
    configureAddress(L"10.0.0.6");
    giveUpAfter(3);

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.6:58000)"));
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(StartFromConfiguration, LeavesAdapterNamesToTheRuntime) {
    environment.networkAdapters = [] { return std::vector{ethernetAdapter()}; };
    configureAddress(L"eth0");

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(eth0:58000)"));
}

TEST_F(StartFromConfiguration, HandsEveryPortOn) {
    configureAddress(L"10.0.0.5", 0);
    configureAddress(L"10.0.0.6", -1);

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(10.0.0.5:0)", "startServer(10.0.0.6:-1)"));
}

TEST_F(StartFromConfiguration, LooksForThePortInAllAddressesThatItKeeps) {
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"10.0.0.6", 58002);
    configureAddress(L"10.0.0.7", 58001);
    configureAddress(L"10.0.0.8", 58002);

    fromConfiguration();

    EXPECT_EQ(starts().size(), 4U);
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:58001", L"10.0.0.6:58002"));
}

TEST_F(StartFromConfiguration, KeepsOneAddressOfSeveralWithTheSamePort) {
    configureAddress(L"10.0.0.5");
    configureAddress(L"10.0.0.6");

    fromConfiguration();

    EXPECT_EQ(starts().size(), 2U);
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:58000"));
    EXPECT_TRUE(printedLine("server address: 10.0.0.6:58000"));
}

TEST_F(StartFromConfiguration, ReportsAFailedAddressAndTriesTheOthers) {
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"10.0.0.6", 58002);
    api->throwIn("startServer(10.0.0.5:58001)", L"port is in use", 98);

    fromConfiguration();

    EXPECT_EQ(printed(), "startServer(10.0.0.5:58001) failed. Exception caught : port is in use "
                         "code : 98\nserver address: 10.0.0.6:58002\n");
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.6:58002"));
}

TEST_F(StartFromConfiguration, RepeatsThePassAfterThreeSecondsWithoutSuccess) {
    configureAddress(L"10.0.0.5");
    failTheFirstStarts(2);

    fromConfiguration();

    EXPECT_EQ(starts().size(), 3U);
    EXPECT_THAT(clock.sleeps(), ElementsAre(milliseconds(3000), milliseconds(3000)));
    EXPECT_TRUE(printedLine("waiting for network..."));
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:58000"));
}

TEST_F(StartFromConfiguration, GoesOnWaitingForTheNetworkAfterAStopRequest) {
    clock.onSleep([this](milliseconds) { state.stopRequested->store(true); });
    configureAddress(L"10.0.0.5");
    failTheFirstStarts(3);

    fromConfiguration();

    EXPECT_EQ(starts().size(), 4U);
    EXPECT_EQ(clock.sleeps().size(), 3U);
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:58000"));
}

TEST_F(StartFromConfiguration, SleepsBeforeItSaysThatItWaits) {
    const std::string failed =
        "startServer(10.0.0.5:58000) failed. Exception caught : no network code : 101\n";
    std::vector<std::string> printedAtSleep;
    clock.onSleep([&](milliseconds) { printedAtSleep.push_back(printed()); });
    configureAddress(L"10.0.0.5");
    failTheFirstStarts(2);

    fromConfiguration();

    EXPECT_THAT(printedAtSleep, ElementsAre(failed, failed + "waiting for network...\n" + failed));
}

TEST_F(StartFromConfiguration, NeverGivesUp) {
    configureAddress(L"10.0.0.5");
    api->throwIn("startServer", L"no network", 101);
    giveUpAfter(100);

    EXPECT_THROW(fromConfiguration(), WaitedLongEnough);

    EXPECT_EQ(starts().size(), 100U);
}

TEST_F(StartFromConfiguration, ComparesWithWhatTheRuntimeReturned) {
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"host", 58001);
    api->startedAddress = [](const std::wstring&) { return L"host:58001"; };

    fromConfiguration();

    EXPECT_THAT(starts(),
                ElementsAre("startServer(10.0.0.5:58001)", "startServer(10.0.0.5:58001)"));
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"host:58001"));
}

TEST_F(StartFromConfiguration, ComparesTheWholeAddress) {
    configureAddress(L"10.0.0.55", 58001);
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"0.0.55", 58001);

    fromConfiguration();

    EXPECT_EQ(starts().size(), 3U);
}

TEST_F(StartFromConfiguration, KeepsNoSecondAddressWithTheEntrysPort) {
    configureAddress(L"10.0.0.5", 0);
    configureAddress(L"10.0.0.6", 0);
    configureAddress(L"10.0.0.7", 4711);
    api->startedAddress = [](const std::wstring& address) {
        return address.substr(0, address.find(L':')) + L":4711";
    };

    fromConfiguration();

    EXPECT_EQ(starts().size(), 3U);
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:4711", L"10.0.0.6:4711"));
}

TEST_F(StartFromConfiguration, TakesAPortThatOnlyEndsLikeAnotherForAnotherOne) {
    configureAddress(L"10.0.0.5", 58000);
    configureAddress(L"10.0.0.6", 8000);
    configureAddress(L"10.0.0.7", 5800);

    fromConfiguration();

    EXPECT_THAT(state.startedAddresses,
                ElementsAre(L"10.0.0.5:58000", L"10.0.0.6:8000", L"10.0.0.7:5800"));
}

TEST_F(StartFromConfiguration, ReplacesEveryHostName) {
    environment.hostName = [] { return std::wstring(L"bench-pc"); };
    configureAddress(L"$$HOSTNAME$$.$$HOSTNAME$$");

    fromConfiguration();

    EXPECT_THAT(starts(), ElementsAre("startServer(bench-pc.bench-pc:58000)"));
}

TEST_F(StartFromConfiguration, CountsTheTriedEntriesOfEveryPassAnew) {
    state.brokerUrlPresent = true;
    configureAddress(L"$$BROKERURL$$");
    failTheFirstStarts(2);

    fromConfiguration();

    EXPECT_EQ(starts().size(), 3U);
    EXPECT_TRUE(state.brokerUrlPresent);
}

TEST_F(StartFromConfiguration, StartsNothingAgainInALaterPassOnceOneHasSucceeded) {
    configureAddress(L"10.0.0.5", 58001);
    configureAddress(L"10.0.0.6", 58002);
    failTheFirstStarts(2);

    fromConfiguration();

    EXPECT_EQ(starts().size(), 4U);
    EXPECT_THAT(clock.sleeps(), ElementsAre(milliseconds(3000)));
    EXPECT_THAT(state.startedAddresses, ElementsAre(L"10.0.0.5:58001", L"10.0.0.6:58002"));
}

TEST_F(StartFromConfiguration, LetsOtherExceptionsPass) {
    configureAddress(L"10.0.0.5");
    api->during("startServer", [] { throw std::domain_error("other"); });

    EXPECT_THROW(fromConfiguration(), std::domain_error);
}

TEST_F(StartFromConfiguration, PrintsTextsThatCannotBeConvertedAsEmpty) {
    const std::wstring broken(1, static_cast<wchar_t>(0xD800));
    configureAddress(broken, 58001);
    configureAddress(L"10.0.0.6", 58002);
    configureAddress(L"10.0.0.7", 58003);
    api->during("startServer", [this, &broken] {
        const auto code = static_cast<std::int32_t>(starts().size());
        if (code < 3) {
            throw Kel_cpp::KelApiException(code == 1 ? L"first" : broken, code);
        }
    });
    api->startedAddress = [&broken](const std::wstring&) { return broken; };

    fromConfiguration();

    EXPECT_EQ(printed(), "startServer() failed. Exception caught : first code : 1\n"
                         "startServer(10.0.0.6:58002) failed. Exception caught :  code : 2\n"
                         "server address: \n");
}

TEST_F(StartFromConfiguration, KeepsTheBrokerInMindForASingleAddress) {
    state.brokerUrlPresent = true;
    configureAddress(L"$$BROKERURL$$");

    fromConfiguration();

    EXPECT_TRUE(state.brokerUrlPresent);
}

TEST_F(StartFromConfiguration, ForgetsTheBrokerWithSeveralAddresses) {
    state.brokerUrlPresent = true;
    configureAddress(L"10.0.0.5");
    configureAddress(L"10.0.0.6");

    fromConfiguration();

    EXPECT_FALSE(state.brokerUrlPresent);
}

} // namespace

} // namespace Quarlen::Tests
