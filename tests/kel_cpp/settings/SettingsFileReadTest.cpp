#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "tests/kel_cpp/settings/ExceptionMessage.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TestPaths.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

class ReadingKelServerXml : public testing::Test {
protected:
    RuntimeSettings read(const std::string& text) const {
        (void)folder.write("KelServer.xml", text);
        return SettingsFile(folder.path()).read();
    }

    [[nodiscard]] std::wstring inFolder(const char* path) const {
        return Platform::fromPath(folder.inside(path));
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ReadingKelServerXml, TakesAMissingFileForAnEmptyConfiguration) {
    const auto settings = SettingsFile(folder.path() / "none").read();

    EXPECT_TRUE(settings.serverConfiguration.serverAddresses.empty());
    EXPECT_EQ(settings.serverConfiguration.startSequence, L"");
    EXPECT_EQ(settings.serverSettings.brokerUrl, L"");
    EXPECT_EQ(settings.serverSettings.brokerUrlFile, L"");
    EXPECT_EQ(settings.paths.projectsPath, inFolder("none/projects"));
    EXPECT_EQ(settings.sovdPort, 20002);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "none"));
}

TEST_F(ReadingKelServerXml, TracesAMissingFileAsOneError) {
    const Quarlen::Tests::TraceCapture traces;
    (void)SettingsFile(folder.path()).read();

    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traces.lines()[0].text, L"there is no configuration file " +
                                          inFolder("KelServer.xml") + L", defaults are used");
}

TEST_F(ReadingKelServerXml, TracesNothingOfAFileThatIsThere) {
    const Quarlen::Tests::TraceCapture traces;
    read("<KelServer/>");

    EXPECT_TRUE(traces.lines().empty());
}

TEST_F(ReadingKelServerXml, FillsInWhatTheFileDoesNotSay) {
    const auto settings = read("<KelServer/>");

    EXPECT_EQ(settings.paths.projectsPath, inFolder("projects"));
    EXPECT_EQ(settings.paths.tracesPath, inFolder("traces"));
    EXPECT_EQ(settings.paths.reportsPath, inFolder("reports"));
    EXPECT_EQ(settings.dataFolder, folder.path() / "data");
    EXPECT_EQ(settings.vehicleFile, folder.path() / "vehicle.xml");
    EXPECT_FALSE(settings.serverSettings.optionTracing);
    EXPECT_FALSE(settings.paths.tracing);
    EXPECT_EQ(settings.traceLevel, 3);
    ASSERT_EQ(settings.interfaces.groups.size(), 1U);
    EXPECT_EQ(settings.interfaces.groups[0]->name, L"Default");
    ASSERT_EQ(settings.interfaces.groups[0]->interfaces.size(), 1U);
    EXPECT_EQ(settings.interfaces.groups[0]->interfaces[0]->name, L"Simulation");
    EXPECT_TRUE(settings.interfaces.groups[0]->interfaces[0]->enabled);
}

TEST_F(ReadingKelServerXml, ReadsTheServerConfiguration) {
    const auto configuration =
        read("<KelServer><ServerAddresses>"
             "<ServerAddress><IpAddress> eth0 </IpAddress><Port> 58005 </Port></ServerAddress>"
             "<ServerAddress><IpAddress>http://$$HOSTNAME$$:1</IpAddress></ServerAddress>"
             "</ServerAddresses><StartSequence>\n Start.xml \n</StartSequence>"
             "<F1Sequence>F1.xml</F1Sequence><F2Sequence>F2.xml</F2Sequence></KelServer>")
            .serverConfiguration;

    ASSERT_EQ(configuration.serverAddresses.size(), 2U);
    EXPECT_EQ(configuration.serverAddresses[0]->address, L"eth0");
    EXPECT_EQ(configuration.serverAddresses[0]->port, 58005);
    EXPECT_EQ(configuration.serverAddresses[1]->address, L"http://$$HOSTNAME$$:1");
    EXPECT_EQ(configuration.startSequence, L"Start.xml");
    EXPECT_EQ(configuration.f1Sequence, L"F1.xml");
    EXPECT_EQ(configuration.f2Sequence, L"F2.xml");
}

TEST_F(ReadingKelServerXml, TakesAMissingPortFor58000) {
    const auto settings = read("<KelServer><ServerAddresses><ServerAddress>"
                               "<IpAddress>x</IpAddress></ServerAddress></ServerAddresses>"
                               "</KelServer>");

    EXPECT_EQ(settings.serverConfiguration.serverAddresses.at(0)->port, 58000);
}

TEST_F(ReadingKelServerXml, ReadsTheServerSettings) {
    const auto settings = read("<KelServer><BrokerUrl>http://broker</BrokerUrl>"
                               "<BrokerUrlFile>broker.txt</BrokerUrlFile>"
                               "<Tracing enabled='true' level='1'/><SovdServer port='1'/>"
                               "</KelServer>");

    EXPECT_EQ(settings.serverSettings.brokerUrl, L"http://broker");
    EXPECT_EQ(settings.serverSettings.brokerUrlFile, inFolder("broker.txt"));
    EXPECT_TRUE(settings.serverSettings.optionTracing);
    EXPECT_FALSE(settings.serverSettings.optionOtxListing);
    EXPECT_TRUE(settings.paths.tracing);
    EXPECT_TRUE(settings.paths.tracingSecondary);
    EXPECT_EQ(settings.traceLevel, 1);
    EXPECT_EQ(settings.sovdPort, 1);
}

TEST_F(ReadingKelServerXml, ReadsTheLimitsOfClients) {
    const auto usual = read("<KelServer/>");
    EXPECT_EQ(usual.clientLimits.maxClients, 1000U);
    EXPECT_EQ(usual.clientLimits.maxMessage, 1048576U);
    EXPECT_EQ(usual.clientLimits.maxIdle, std::chrono::seconds(60));
    EXPECT_EQ(usual.clientLimits.maxUnsent, 1000U);

    const auto least = read("<KelServer><Clients max='1' messageBytes='1024' idleSeconds='1' "
                            "unsentTexts='10'/></KelServer>");
    EXPECT_EQ(least.clientLimits.maxClients, 1U);
    EXPECT_EQ(least.clientLimits.maxMessage, 1024U);
    EXPECT_EQ(least.clientLimits.maxIdle, std::chrono::seconds(1));
    EXPECT_EQ(least.clientLimits.maxUnsent, 10U);

    const auto highest = read("<KelServer><Clients max='10000' messageBytes='16777216' "
                              "idleSeconds='86400' unsentTexts='100000'/></KelServer>");
    EXPECT_EQ(highest.clientLimits.maxClients, 10000U);
    EXPECT_EQ(highest.clientLimits.maxMessage, 16777216U);
    EXPECT_EQ(highest.clientLimits.maxIdle, std::chrono::seconds(86400));
    EXPECT_EQ(highest.clientLimits.maxUnsent, 100000U);
}

TEST_F(ReadingKelServerXml, ReadsTheFileWithTokens) {
    EXPECT_TRUE(read("<KelServer/>").tokenFile.empty());

    const auto settings = read("<KelServer><Access tokenFile='access.token'/></KelServer>");

    EXPECT_EQ(Platform::fromPath(settings.tokenFile), inFolder("access.token"));
}

TEST_F(ReadingKelServerXml, ResolvesRelativePathsAgainstItsFolder) {
    const auto settings = read("<KelServer><Paths><Projects>a/../b/</Projects>"
                               "<Traces>../t</Traces><Reports>./r</Reports><Data>d/e</Data></Paths>"
                               "<Vehicle>v/my.xml</Vehicle></KelServer>");

    EXPECT_EQ(settings.paths.projectsPath, inFolder("b"));
    EXPECT_EQ(settings.paths.tracesPath, Platform::fromPath(folder.path().parent_path() / "t"));
    EXPECT_EQ(settings.paths.reportsPath, inFolder("r"));
    EXPECT_EQ(settings.dataFolder, folder.path() / "d" / "e");
    EXPECT_EQ(settings.vehicleFile, folder.path() / "v" / "my.xml");
}

TEST_F(ReadingKelServerXml, KeepsAbsolutePathsAndOtherAlphabets) {
    const auto absolute = folder.path() / Platform::toPath(L"pr\u00F6jekte \u20AC");
    const auto settings =
        read("<KelServer><Paths><Projects>" + Platform::toUtf8(Platform::fromPath(absolute)) +
             "</Projects></Paths></KelServer>");

    EXPECT_EQ(settings.paths.projectsPath, Platform::fromPath(absolute));
}

TEST_F(ReadingKelServerXml, GivesAbsolutePathsForARelativeFolder) {
    const auto settings = SettingsFile("no/such/folder").read();

    EXPECT_TRUE(Platform::toPath(settings.paths.projectsPath).is_absolute());
    EXPECT_TRUE(settings.vehicleFile.is_absolute());
}

TEST_F(ReadingKelServerXml, TakesEmptyElementsForMissingOnes) {
    const auto settings = read("<KelServer><Paths><Projects> </Projects><Data/></Paths><Vehicle/>"
                               "<BrokerUrlFile/><StartSequence/></KelServer>");

    EXPECT_EQ(settings.paths.projectsPath, inFolder("projects"));
    EXPECT_EQ(settings.dataFolder, folder.path() / "data");
    EXPECT_EQ(settings.vehicleFile, folder.path() / "vehicle.xml");
    EXPECT_EQ(settings.serverSettings.brokerUrlFile, L"");
}

TEST_F(ReadingKelServerXml, ReadsWhatAnInterfaceNeedsToKnow) {
    const auto groups = read("<KelServer><Interfaces><Group name='g'><Interface host='127.0.0.1' "
                             "name='CAN' testerAddress='0x0E80' enabled='true' note=''/>"
                             "<Interface name='Simulation'/></Group></Interfaces></KelServer>")
                            .interfaces.groups;

    using Parameters = std::vector<InterfaceEntry::Parameter>;
    const auto& entry = *groups.at(0)->interfaces.at(0);
    EXPECT_TRUE(entry.enabled);
    EXPECT_EQ(entry.parameters,
              (Parameters{{L"host", L"127.0.0.1"}, {L"testerAddress", L"0x0E80"}, {L"note", L""}}));
    EXPECT_TRUE(groups[0]->interfaces.at(1)->parameters.empty());
}

TEST_F(ReadingKelServerXml, ReadsWhichVehicleIsMeant) {
    const auto groups =
        read("<KelServer><Interfaces><Group name='g'><Interface name='DoIP' host='' "
             "vin='WKLDEMO0000000042' eid='02:00:00:00:00:2a' p2='100' p2Star='200' deltaP2='300' "
             "port='1' activation='0xE0'/><Interface name='DoIP' vin='' eid=''/>"
             "</Group></Interfaces></KelServer>")
            .interfaces.groups;

    const auto& parameters = groups.at(0)->interfaces.at(0)->parameters;
    ASSERT_EQ(parameters.size(), 8U);
    EXPECT_EQ(parameters[1], InterfaceEntry::Parameter(L"vin", L"WKLDEMO0000000042"));
    EXPECT_EQ(parameters[2], InterfaceEntry::Parameter(L"eid", L"02:00:00:00:00:2a"));
}

TEST_F(ReadingKelServerXml, ReadsWhetherTheBusIsTracedAndCaptured) {
    EXPECT_FALSE(read("<KelServer/>").capturesBus);
    const auto settings = read("<KelServer><Tracing level='4' bus='true'/></KelServer>");
    EXPECT_TRUE(settings.capturesBus);
    EXPECT_EQ(settings.traceLevel, 4);
}

TEST_F(ReadingKelServerXml, KeepsTheOrderOfGroupsAndInterfaces) {
    const auto groups = read("<KelServer><Interfaces><Group name='B'><Interface name='y'/>"
                             "<Interface name='x' enabled='true'/></Group><Group name='A'/>"
                             "</Interfaces></KelServer>")
                            .interfaces.groups;

    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0]->name, L"B");
    EXPECT_EQ(groups[0]->interfaces.at(0)->name, L"y");
    EXPECT_FALSE(groups[0]->interfaces.at(0)->enabled);
    EXPECT_EQ(groups[0]->interfaces.at(1)->name, L"x");
    EXPECT_TRUE(groups[0]->interfaces.at(1)->enabled);
    EXPECT_EQ(groups[1]->name, L"A");
}

TEST_F(ReadingKelServerXml, AcceptsTheExample) {
    const auto settings = SettingsFile(Quarlen::Tests::examplesFolder()).read();

    EXPECT_EQ(settings.serverConfiguration.serverAddresses.at(0)->address, L"127.0.0.1");
    EXPECT_EQ(settings.serverConfiguration.startSequence, L"Demo.xml");
    EXPECT_TRUE(settings.interfaces.groups.at(0)->interfaces.at(0)->enabled);
}

TEST_F(ReadingKelServerXml, FailsForAFolderInItsPlace) {
    std::filesystem::create_directory(folder.path() / "KelServer.xml");

    EXPECT_THAT(messageOf([&] { (void)SettingsFile(folder.path()).read(); }),
                testing::AllOf(testing::HasSubstr("KelServer.xml: cannot be read: "),
                               Quarlen::Tests::EndsWithANumber()));
}

struct WrongSetting {
    const char* subject;
    const char* text;
    const char* message;
};

class WrongKelServerXml : public ReadingKelServerXml,
                          public testing::WithParamInterface<WrongSetting> {};

TEST_P(WrongKelServerXml, IsRefusedWithFilePlaceAndExpectation) {
    const auto file = (folder.path() / "KelServer.xml").string();

    EXPECT_EQ(messageOf([&] { (void)read(GetParam().text); }), file + ":" + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    SettingsFile, WrongKelServerXml,
    testing::Values(
        WrongSetting{"Malformed", "<KelServer>\n  <Paths>\n</KelServer>",
                     "3:3: malformed XML: mismatched tag \"</KelServer>\", expected \"</Paths>\""},
        WrongSetting{"Empty", "", "1:1: malformed XML: no element found"},
        WrongSetting{"OtherRoot", "<Server/>",
                     "1:1: root element \"Server\", expected \"KelServer\""},
        WrongSetting{"UnknownElement", "<KelServer>\n <Foo/></KelServer>",
                     "2:2: unknown element \"Foo\" in \"KelServer\", expected: ServerAddresses, "
                     "BrokerUrl, BrokerUrlFile, StartSequence, F1Sequence, F2Sequence, Paths, "
                     "Tracing, Interfaces, Vehicle, SovdServer, Clients, Access"},
        WrongSetting{"UnknownAttribute", "<KelServer a='1'/>",
                     "1:12: unknown attribute \"a\" of \"KelServer\", expected: none"},
        WrongSetting{"TextBetweenSections", "<KelServer>\n\n x <Paths/></KelServer>",
                     "3:2: text \"x\" in \"KelServer\", expected no text"},
        WrongSetting{"RepeatedSection", "<KelServer><Paths/>\n<Vehicle/><Paths/></KelServer>",
                     "2:11: element \"Paths\" stands twice"},
        WrongSetting{"RepeatedText", "<KelServer><Paths><Data/><Data/></Paths></KelServer>",
                     "1:26: element \"Data\" stands twice"},
        WrongSetting{
            "UnknownPath", "<KelServer><Paths><Foo/></Paths></KelServer>",
            "1:19: unknown element \"Foo\" in \"Paths\", expected: Projects, Traces, Reports, "
            "Data"},
        WrongSetting{"AttributeOfText", "<KelServer><Vehicle a='1'/></KelServer>",
                     "1:21: unknown attribute \"a\" of \"Vehicle\", expected: none"},
        WrongSetting{"ElementInText", "<KelServer><Vehicle><a/></Vehicle></KelServer>",
                     "1:21: unknown element \"a\" in \"Vehicle\", expected: none"},
        WrongSetting{"MissingAddress",
                     "<KelServer><ServerAddresses>\n<ServerAddress><Port>1</Port></ServerAddress>"
                     "</ServerAddresses></KelServer>",
                     "2:1: \"ServerAddress\" needs an \"IpAddress\" with an address"},
        WrongSetting{"PortZero",
                     "<KelServer><ServerAddresses><ServerAddress><IpAddress>x</IpAddress>\n"
                     "<Port>0</Port></ServerAddress></ServerAddresses></KelServer>",
                     "2:1: \"Port\" is \"0\", expected a number from 1 to 65535"},
        WrongSetting{"PortTooLarge",
                     "<KelServer><ServerAddresses><ServerAddress><IpAddress>x</IpAddress>\n"
                     "<Port>65536</Port></ServerAddress></ServerAddresses></KelServer>",
                     "2:1: \"Port\" is \"65536\", expected a number from 1 to 65535"},
        WrongSetting{"EmptyPort",
                     "<KelServer><ServerAddresses><ServerAddress><IpAddress>x</IpAddress>\n"
                     "<Port/></ServerAddress></ServerAddresses></KelServer>",
                     "2:1: \"Port\" is \"\", expected a number from 1 to 65535"},
        WrongSetting{"SovdPort", "<KelServer><SovdServer port='0'/></KelServer>",
                     "1:24: attribute \"port\" is \"0\", expected a number from 1 to 65535"},
        WrongSetting{"NoClients", "<KelServer><Clients max='0'/></KelServer>",
                     "1:21: attribute \"max\" is \"0\", expected a number from 1 to 10000"},
        WrongSetting{"TooManyClients", "<KelServer><Clients max='10001'/></KelServer>",
                     "1:21: attribute \"max\" is \"10001\", expected a number from 1 to 10000"},
        WrongSetting{"ShortMessages", "<KelServer><Clients messageBytes='1023'/></KelServer>",
                     "1:21: attribute \"messageBytes\" is \"1023\", expected a number from 1024 to "
                     "16777216"},
        WrongSetting{
            "LongMessages", "<KelServer><Clients messageBytes='16777217'/></KelServer>",
            "1:21: attribute \"messageBytes\" is \"16777217\", expected a number from 1024 to "
            "16777216"},
        WrongSetting{"NoIdleTime", "<KelServer><Clients idleSeconds='0'/></KelServer>",
                     "1:21: attribute \"idleSeconds\" is \"0\", expected a number from 1 to 86400"},
        WrongSetting{"LongIdleTime", "<KelServer><Clients idleSeconds='86401'/></KelServer>",
                     "1:21: attribute \"idleSeconds\" is \"86401\", expected a number from 1 to "
                     "86400"},
        WrongSetting{
            "NoUnsentTexts", "<KelServer><Clients unsentTexts='9'/></KelServer>",
            "1:21: attribute \"unsentTexts\" is \"9\", expected a number from 10 to 100000"},
        WrongSetting{"ManyUnsentTexts", "<KelServer><Clients unsentTexts='100001'/></KelServer>",
                     "1:21: attribute \"unsentTexts\" is \"100001\", expected a number from 10 to "
                     "100000"},
        WrongSetting{"NoTokenFile", "<KelServer><Access/></KelServer>",
                     "1:12: \"Access\" needs the attribute \"tokenFile\""},
        WrongSetting{"TracingFlag", "<KelServer><Tracing enabled='on'/></KelServer>",
                     "1:21: attribute \"enabled\" is \"on\", expected true or false"},
        WrongSetting{"TracingLevel", "<KelServer><Tracing level='5'/></KelServer>",
                     "1:21: attribute \"level\" is \"5\", expected a number from 0 to 4"},
        WrongSetting{"TracingText", "<KelServer><Tracing>x</Tracing></KelServer>",
                     "1:21: text \"x\" in \"Tracing\", expected no text"},
        WrongSetting{"GroupWithoutName", "<KelServer><Interfaces><Group/></Interfaces></KelServer>",
                     "1:24: \"Group\" needs the attribute \"name\""},
        WrongSetting{"InterfaceWithoutName",
                     "<KelServer><Interfaces><Group name='g'><Interface enabled='true'/></Group>"
                     "</Interfaces></KelServer>",
                     "1:40: \"Interface\" needs the attribute \"name\""},
        WrongSetting{
            "InterfaceWithContent",
            "<KelServer><Interfaces><Group name='g'><Interface name='x'><Host/></Interface>"
            "</Group></Interfaces></KelServer>",
            "1:60: unexpected element \"Host\" in \"Interface\""},
        WrongSetting{"ResponseTimeOfZero",
                     "<KelServer><Interfaces><Group name='g'><Interface name='x' p2='0'/></Group>"
                     "</Interfaces></KelServer>",
                     "1:60: attribute \"p2\" is \"0\", expected a number from 1 to 60000"},
        WrongSetting{"LongResponseTime",
                     "<KelServer><Interfaces><Group name='g'><Interface name='x' p2='60001'/>"
                     "</Group></Interfaces></KelServer>",
                     "1:60: attribute \"p2\" is \"60001\", expected a number from 1 to 60000"},
        WrongSetting{"LongTimeAfterResponsePending",
                     "<KelServer><Interfaces><Group name='g'>\n<Interface name='x' p2='60000' "
                     "p2Star='600001'/></Group></Interfaces></KelServer>",
                     "2:32: attribute \"p2Star\" is \"600001\", expected a number from 1 to "
                     "600000"},
        WrongSetting{"TimeThatIsNoNumber",
                     "<KelServer><Interfaces><Group name='g'><Interface name='x' p2Star='5 s'/>"
                     "</Group></Interfaces></KelServer>",
                     "1:60: attribute \"p2Star\" is \"5 s\", expected a number from 1 to 600000"},
        WrongSetting{"LongWayToTheControlUnit",
                     "<KelServer><Interfaces><Group name='g'><Interface name='x' "
                     "deltaP2='60001'/></Group></Interfaces></KelServer>",
                     "1:60: attribute \"deltaP2\" is \"60001\", expected a number from 1 to "
                     "60000"},
        WrongSetting{"PortOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' port='0'/>"
                     "</Group></Interfaces></KelServer>",
                     "1:63: attribute \"port\" is \"0\", expected a number from 1 to 65535"},
        WrongSetting{"TesterOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' "
                     "testerAddress='0x1000'/></Group></Interfaces></KelServer>",
                     "1:63: attribute \"testerAddress\" is \"0x1000\", expected a number from 3584 "
                     "to 4095"},
        WrongSetting{"VinOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' "
                     "vin='WKLDEMO000000004'/></Group></Interfaces></KelServer>",
                     "1:63: attribute \"vin\" is \"WKLDEMO000000004\", expected 17 capital "
                     "letters and digits"},
        WrongSetting{"SignInTheVinOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' "
                     "vin='WKLDEMO00000000-2'/></Group></Interfaces></KelServer>",
                     "1:63: attribute \"vin\" is \"WKLDEMO00000000-2\", expected 17 capital "
                     "letters and digits"},
        WrongSetting{"SmallLettersInTheVinOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' "
                     "vin='wkldemo0000000042'/></Group></Interfaces></KelServer>",
                     "1:63: attribute \"vin\" is \"wkldemo0000000042\", expected 17 capital "
                     "letters and digits"},
        WrongSetting{"EidOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' eid='02:00'/>"
                     "</Group></Interfaces></KelServer>",
                     "1:63: attribute \"eid\" is \"02:00\", expected six pairs of hexadecimal "
                     "digits with colons between them"},
        WrongSetting{"UnknownParameterOfDoip",
                     "<KelServer><Interfaces><Group name='g'><Interface name='DoIP' Host='a'/>"
                     "</Group></Interfaces></KelServer>",
                     "1:63: unknown attribute \"Host\" of \"Interface\", expected: name, enabled, "
                     "p2, p2Star, deltaP2, host, vin, eid, port, testerAddress, activation"},
        WrongSetting{"InterfaceOutsideGroup",
                     "<KelServer><Interfaces><Interface name='x'/></Interfaces></KelServer>",
                     "1:24: unknown element \"Interface\" in \"Interfaces\", expected: Group"}),
    [](const auto& test) { return test.param.subject; });

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
