#include "config/ConfigBase.hpp"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/ScriptObjects.hpp"
#include "config/ScriptReader.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Config::Tests {
namespace {

using testing::IsEmpty;
using testing::StartsWith;

class ConfigFile : public testing::Test {
protected:
    bool load(const std::string& content) {
        path = Quarlen::Platform::fromPath(folder.write("script.xml", content));
        return config->load(path);
    }

    Quarlen::Tests::TemporaryFolder folder;
    Quarlen::Tests::TraceCapture traces;
    std::unique_ptr<ConfigBase> config = createConfigBase();
    std::wstring path;
};

TEST_F(ConfigFile, LoadsAScript) {
    ASSERT_TRUE(load("<KelServerScript resultLed='0'><ExecuteAction/></KelServerScript>"));

    const auto root = config->root();
    const auto* script = as<CfxKelServerScript>(*root);
    ASSERT_NE(script, nullptr);
    EXPECT_FALSE(script->resultLed);
    EXPECT_EQ(script->actionCount(), 1U);
    EXPECT_EQ(config->errorText(), L"");
    EXPECT_THAT(traces.texts(), IsEmpty());
}

TEST_F(ConfigFile, LoadsAnotherRootElement) {
    ASSERT_TRUE(load("<KelServer/>"));

    EXPECT_EQ(config->root()->typeId(), TypeId::Unknown);
}

TEST_F(ConfigFile, HasNoRootBeforeItIsLoaded) {
    EXPECT_FALSE(static_cast<bool>(config->root()));
}

TEST_F(ConfigFile, NamesFileLineColumnAndCauseOfAFault) {
    EXPECT_FALSE(load("<KelServerScript>\n  <ExecuteAction enabled='ja'/>\n</KelServerScript>"));

    EXPECT_FALSE(static_cast<bool>(config->root()));
    EXPECT_EQ(config->errorText(),
              path + L":2:3: the attribute \"enabled\" must be true or false, not \"ja\"");
}

TEST_F(ConfigFile, TracesAFaultOnce) {
    EXPECT_FALSE(load("<KelServerScript>"));

    const auto lines = traces.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(lines[0].source, L"config/ConfigBase");
    EXPECT_EQ(lines[0].text, config->errorText());
}

TEST_F(ConfigFile, DoesNotLoadMalformedXml) {
    EXPECT_FALSE(load("<KelServerScript>\n<ExecuteAction></KelServerScript>"));

    EXPECT_THAT(config->errorText(), StartsWith(path + L":2:"));
}

TEST_F(ConfigFile, DoesNotLoadBytesThatAreNoText) {
    EXPECT_FALSE(load("\xEF\xBB\xBF<KelServerScript>\n\xC3\xBC\xFF</KelServerScript>"));

    EXPECT_EQ(config->errorText(),
              path + L":2:2: no text in the file's encoding, or a character that cannot "
                     L"stand here");
}

TEST_F(ConfigFile, DoesNotLoadAFileThatEndsTooEarly) {
    EXPECT_FALSE(load("<KelServerScript>"));
    EXPECT_EQ(config->errorText(),
              path + L":1:18: the file ends too early, expected \"</KelServerScript>\"");
}

TEST_F(ConfigFile, DoesNotLoadATooLargeFile) {
    const auto file = folder.write("large.xml", "<KelServerScript/>");
    std::filesystem::resize_file(file, ScriptReader::limits.size + 1);

    EXPECT_FALSE(config->load(Quarlen::Platform::fromPath(file)));
    EXPECT_EQ(config->errorText(),
              Quarlen::Platform::fromPath(file) + L":1:1: the file is larger than 64 MiB");
}

TEST_F(ConfigFile, DoesNotLoadAMissingFile) {
    EXPECT_FALSE(config->load(L"/no/such/script.xml"));

    EXPECT_THAT(config->errorText(),
                testing::AllOf(StartsWith(L"/no/such/script.xml:1:1: cannot be read: "),
                               Quarlen::Tests::EndsWithANumber()));
}

TEST_F(ConfigFile, DoesNotLoadAPathThatIsNoText) {
    EXPECT_FALSE(config->load(L""));
    EXPECT_FALSE(config->load(std::wstring(L"a\0b", 3)));
}

TEST_F(ConfigFile, ForgetsTheRootWhenTheNextLoadFails) {
    ASSERT_TRUE(load("<KelServerScript/>"));
    EXPECT_FALSE(load("no script"));

    EXPECT_FALSE(static_cast<bool>(config->root()));
}

TEST_F(ConfigFile, ForgetsTheFaultWhenTheNextLoadSucceeds) {
    EXPECT_FALSE(load("no script"));
    ASSERT_TRUE(load("<KelServerScript/>"));

    EXPECT_EQ(config->errorText(), L"");
}

TEST_F(ConfigFile, KeepsItsObjectsBeyondItsOwnEnd) {
    ASSERT_TRUE(load("<KelServerScript><ExecuteAction command='A'/></KelServerScript>"));
    const auto root = config->root();

    config.reset();

    const auto* script = as<CfxKelServerScript>(*root);
    ASSERT_NE(script, nullptr);
    EXPECT_EQ(as<CfxExecuteAction>(script->action(0))->command, L"A");
}

TEST_F(ConfigFile, LoadsAHundredThousandActions) {
    std::string content = "<KelServerScript>";
    for (int index = 0; index < 100'000; ++index) {
        content += "<ExecuteAction enabled='false' command='C" + std::to_string(index) + "'/>\n";
    }
    ASSERT_TRUE(load(content + "</KelServerScript>"));

    const auto root = config->root();
    const auto& script = dynamic_cast<const CfxKelServerScript&>(*root);
    ASSERT_EQ(script.actionCount(), 100'000U);
    EXPECT_EQ(as<CfxExecuteAction>(script.action(99'999))->command, L"C99999");
}

} // namespace
} // namespace Config::Tests
