#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "tests/kel_cpp/settings/ExceptionMessage.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::HasSubstr;

class WritingKelServerXml : public testing::Test {
protected:
    void given(const std::string& text) const { (void)folder.write("KelServer.xml", text); }
    [[nodiscard]] std::string written() const { return folder.read("KelServer.xml"); }
    [[nodiscard]] RuntimeSettings settings() const { return SettingsFile(folder.path()).read(); }

    Quarlen::Tests::TemporaryFolder folder;
    SettingsFile file{folder.path()};
};

TEST_F(WritingKelServerXml, ChangesOneFlagAndKeepsEveryOtherByte) {
    const std::string before =
        "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<!-- mine -->\r\n<KelServer >\r\n"
        "\t<Tracing  level='1'\tenabled = 'false' />\r\n"
        "  <Vehicle>a&#x62;c</Vehicle >\r\n\r\n</KelServer>\r\n<!-- end -->";
    given(before);
    auto wanted = settings().serverSettings;
    wanted.optionTracing = true;

    file.writeServerSettings(wanted);

    auto after = before;
    after.replace(after.find("false"), 5, "true");
    EXPECT_EQ(written(), after);
}

TEST_F(WritingKelServerXml, KeepsTheTracingOfBothRecordsInOneAttribute) {
    given("<KelServer><Tracing enabled='1'/></KelServer>");
    auto server = settings().serverSettings;
    server.optionTracing = false;
    auto paths = settings().paths;

    file.writeServerSettings(server);
    EXPECT_FALSE(settings().paths.tracing);
    paths.tracing = true;
    file.writePaths(paths);

    EXPECT_TRUE(settings().serverSettings.optionTracing);
}

TEST_F(WritingKelServerXml, WritesNothingWhenNothingHasChanged) {
    given("<KelServer><Tracing enabled='1'/></KelServer>");
    const auto before = settings();
    // Whole seconds are what every system keeps.
    const auto time = std::chrono::floor<std::chrono::seconds>(
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    std::filesystem::last_write_time(folder.path() / "KelServer.xml", time);

    file.writeServerSettings(before.serverSettings);
    file.writePaths(before.paths);
    file.writeInterfaces(before.interfaces);

    EXPECT_EQ(std::filesystem::last_write_time(folder.path() / "KelServer.xml"), time);
    EXPECT_EQ(written(), "<KelServer><Tracing enabled='1'/></KelServer>");
}

TEST_F(WritingKelServerXml, DoesNotCreateAFileForDefaults) {
    file.writePaths(settings().paths);

    EXPECT_FALSE(std::filesystem::exists(folder.path() / "KelServer.xml"));
}

TEST_F(WritingKelServerXml, CreatesAMissingFileAndItsFolder) {
    SettingsFile missing(folder.path() / "new");
    auto wanted = missing.read().serverSettings;
    wanted.optionTracing = true;

    missing.writeServerSettings(wanted);

    EXPECT_EQ(folder.read("new/KelServer.xml"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                                "<KelServer>\n  <Tracing enabled=\"true\"/>\n"
                                                "</KelServer>\n");
}

TEST_F(WritingKelServerXml, KeepsRelativeSpellingsOfUnchangedPaths) {
    given("<KelServer>\n  <Paths>\n    <Projects>./a/../p</Projects>\n"
          "    <Traces>t</Traces>\n  </Paths>\n</KelServer>\n");
    auto wanted = settings().paths;
    wanted.tracesPath = L"/var/traces & more";

    file.writePaths(wanted);

    EXPECT_EQ(written(), "<KelServer>\n  <Paths>\n    <Projects>./a/../p</Projects>\n"
                         "    <Traces>/var/traces &amp; more</Traces>\n  </Paths>\n</KelServer>\n");
}

TEST_F(WritingKelServerXml, AddsMissingElementsWithIndentation) {
    given("<KelServer>\n    <Vehicle>v</Vehicle>\n</KelServer>\n");
    auto wanted = settings().paths;
    wanted.projectsPath = L"/p";
    wanted.reportsPath = L"/r";

    file.writePaths(wanted);

    EXPECT_EQ(written(), "<KelServer>\n    <Vehicle>v</Vehicle>\n    <Paths>\n"
                         "        <Projects>/p</Projects>\n        <Reports>/r</Reports>\n"
                         "    </Paths>\n</KelServer>\n");
}

TEST_F(WritingKelServerXml, ReadsBackTheServerSettings) {
    ServerSettings wanted;
    wanted.brokerUrl = L"http://broker?a=1&b=<2>";
    wanted.brokerUrlFile = Platform::fromPath(folder.path() / "url.txt");
    wanted.optionTracing = true;

    file.writeServerSettings(wanted);

    EXPECT_EQ(settings().serverSettings.brokerUrl, wanted.brokerUrl);
    EXPECT_EQ(settings().serverSettings.brokerUrlFile, wanted.brokerUrlFile);
    EXPECT_TRUE(settings().serverSettings.optionTracing);
}

TEST_F(WritingKelServerXml, EmptiesABrokerUrl) {
    given("<KelServer><BrokerUrl>x</BrokerUrl></KelServer>");

    file.writeServerSettings(ServerSettings());

    EXPECT_EQ(written(), "<KelServer><BrokerUrl></BrokerUrl></KelServer>");
}

TEST_F(WritingKelServerXml, ReadsBackThePaths) {
    PathSettings wanted;
    wanted.projectsPath = Platform::fromPath(folder.path() / Platform::toPath(L"pr\u00F6jekte"));
    wanted.tracesPath = Platform::fromPath(folder.path() / "t");
    wanted.reportsPath = Platform::fromPath(folder.path() / "r");
    wanted.tracing = true;

    file.writePaths(wanted);

    const auto read = settings().paths;
    EXPECT_EQ(read.projectsPath, wanted.projectsPath);
    EXPECT_EQ(read.tracesPath, wanted.tracesPath);
    EXPECT_EQ(read.reportsPath, wanted.reportsPath);
    EXPECT_TRUE(read.tracing);
}

TEST_F(WritingKelServerXml, SwitchesOnlyTheInterfacesThatChange) {
    given("<KelServer><Interfaces><!-- a --><Group name='g'><Interface name='Simulation' "
          "enabled='1'/><Interface name='x'/></Group><Group name='h'>"
          "<Interface name='y' enabled='true'/></Group></Interfaces></KelServer>");
    const auto wanted = settings().interfaces;
    wanted.groups[0]->interfaces[1]->enabled = true;
    wanted.groups[1]->interfaces[0]->enabled = false;

    file.writeInterfaces(wanted);

    EXPECT_EQ(written(),
              "<KelServer><Interfaces><!-- a --><Group name='g'><Interface name='Simulation' "
              "enabled='1'/><Interface name='x' enabled=\"true\"/></Group><Group name='h'>"
              "<Interface name='y' enabled='false'/></Group></Interfaces></KelServer>");
}

TEST_F(WritingKelServerXml, KeepsTheParametersOfAnInterfaceThatIsSwitched) {
    given("<KelServer><Interfaces><Group name='g'><Interface host='10.0.0.1' name='DoIP' "
          "port='13400' enabled='false'/></Group></Interfaces></KelServer>");
    const auto wanted = settings().interfaces;
    wanted.groups[0]->interfaces[0]->enabled = true;

    file.writeInterfaces(wanted);

    EXPECT_EQ(written(),
              "<KelServer><Interfaces><Group name='g'><Interface host='10.0.0.1' name='DoIP' "
              "port='13400' enabled='true'/></Group></Interfaces></KelServer>");
}

TEST_F(WritingKelServerXml, WritesParametersThatSomebodyHasChanged) {
    given("<KelServer>\n  <Interfaces>\n    <Group name=\"g\">\n"
          "      <Interface name=\"DoIP\" host=\"a\"/>\n    </Group>\n  </Interfaces>\n"
          "</KelServer>\n");
    const auto wanted = settings().interfaces;
    wanted.groups[0]->interfaces[0]->parameters = {{L"host", L"b"}, {L"port", L"13400"}};

    file.writeInterfaces(wanted);

    EXPECT_EQ(written(),
              "<KelServer>\n  <Interfaces>\n    <Group name=\"g\">\n"
              "      <Interface name=\"DoIP\" enabled=\"false\" host=\"b\" port=\"13400\"/>\n"
              "    </Group>\n  </Interfaces>\n</KelServer>\n");
}

TEST_F(WritingKelServerXml, WritesOutTheDefaultInterfacesWhenTheyChange) {
    given("<KelServer>\n  <Vehicle>v</Vehicle>\n</KelServer>\n");
    const auto wanted = settings().interfaces;
    wanted.groups[0]->interfaces[0]->enabled = false;

    file.writeInterfaces(wanted);

    EXPECT_EQ(written(), "<KelServer>\n  <Vehicle>v</Vehicle>\n  <Interfaces>\n"
                         "    <Group name=\"Default\">\n"
                         "      <Interface name=\"Simulation\" enabled=\"false\"/>\n"
                         "    </Group>\n  </Interfaces>\n</KelServer>\n");
}

TEST_F(WritingKelServerXml, ReplacesInterfacesWithOtherNames) {
    given("<KelServer>\n  <Interfaces>\n    <Group name=\"g\"/>\n  </Interfaces>\n</KelServer>\n");
    InterfaceSettings wanted;
    wanted.groups = {std::make_shared<InterfaceGroup>(), nullptr};
    wanted.groups[0]->name = L"n";
    wanted.groups[0]->interfaces = {std::make_shared<InterfaceEntry>()};
    wanted.groups[0]->interfaces[0]->name = L"DoIP";

    file.writeInterfaces(wanted);

    EXPECT_EQ(written(), "<KelServer>\n  <Interfaces>\n    <Group name=\"n\">\n"
                         "      <Interface name=\"DoIP\" enabled=\"false\"/>\n    </Group>\n"
                         "  </Interfaces>\n</KelServer>\n");
}

TEST_F(WritingKelServerXml, KeepsAnEmptyInterfaceListApartFromTheDefault) {
    file.writeInterfaces(InterfaceSettings());

    EXPECT_TRUE(settings().interfaces.groups.empty());
}

TEST_F(WritingKelServerXml, LeavesAFileThatHasBecomeMalformedUntouched) {
    auto wanted = settings().paths;
    wanted.tracing = true;
    given("<KelServer><Paths></KelServer>");

    EXPECT_THAT(messageOf([&] { file.writePaths(wanted); }),
                HasSubstr("KelServer.xml:1:21: malformed XML"));
    EXPECT_EQ(written(), "<KelServer><Paths></KelServer>");
}

TEST_F(WritingKelServerXml, LeavesAFileWithWrongContentUntouched) {
    auto wanted = settings().serverSettings;
    wanted.optionTracing = true;
    given("<KelServer><SovdServer port='x'/></KelServer>");

    EXPECT_THAT(messageOf([&] { file.writeServerSettings(wanted); }), HasSubstr(":1:24: "));
    EXPECT_EQ(written(), "<KelServer><SovdServer port='x'/></KelServer>");
}

TEST_F(WritingKelServerXml, RefusesValuesThatItCouldNotReadBack) {
    given("<KelServer/>");
    InterfaceSettings nameless;
    nameless.groups = {std::make_shared<InterfaceGroup>()};
    ServerSettings control;
    control.brokerUrl = L"a\u0007b";

    EXPECT_THAT(messageOf([&] { file.writeInterfaces(nameless); }), HasSubstr("\"name\""));
    EXPECT_THAT(messageOf([&] { file.writeServerSettings(control); }),
                HasSubstr("control character"));
    EXPECT_EQ(written(), "<KelServer/>");
}

TEST_F(WritingKelServerXml, NamesAFileThatCannotBeWritten) {
    (void)folder.write("file", "");
    auto wanted = settings().serverSettings;
    wanted.optionTracing = true;
    SettingsFile below(folder.path() / "file" / "folder");

    EXPECT_THAT(
        messageOf([&] { below.writeServerSettings(wanted); }),
        AllOf(HasSubstr("KelServer.xml: cannot be written: "), Quarlen::Tests::EndsWithANumber()));
}

TEST_F(WritingKelServerXml, LeavesNoOtherFilesBehind) {
    auto wanted = settings().paths;
    wanted.tracing = true;

    file.writePaths(wanted);

    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
