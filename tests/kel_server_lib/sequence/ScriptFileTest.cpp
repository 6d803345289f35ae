#include "kel_server_lib/sequence/ScriptFile.hpp"

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

class LocateScript : public testing::Test {
protected:
    [[nodiscard]] ScriptFile locate(const std::wstring& name) const {
        return locateScript(StdUtil::PathString(folder.path()), name);
    }
    [[nodiscard]] StdUtil::PathString inFolder(const std::string& name) const {
        return StdUtil::PathString(folder.inside(name));
    }

    TemporaryFolder folder;
};

TEST_F(LocateScript, TakesANameThatIsAPathDirectly) {
    const std::wstring name = Platform::fromPath(folder.write("Here.xml", "x"));

    const ScriptFile script = locate(name);

    EXPECT_TRUE(script.found);
    EXPECT_EQ(script.path.wstr(), name);
}

TEST_F(LocateScript, PrefersTheNameAsAPathToTheScriptsFolder) {
    const auto here = folder.write("Here.xml", "x");
    folder.write("KelServerScripts/" + here.relative_path().generic_string(), "y");

    EXPECT_EQ(locate(Platform::fromPath(here)).path.wstr(), Platform::fromPath(here));
}

TEST_F(LocateScript, LooksInFoldersBelowTheScriptsFolderWhenTheNameSaysSo) {
    folder.write("KelServerScripts/deeper/A.xml", "x");

    const ScriptFile script = locate(L"deeper/A.xml");

    EXPECT_TRUE(script.found);
    EXPECT_EQ(script.path.path(), inFolder("KelServerScripts/deeper/A.xml").path());
}

TEST_F(LocateScript, LooksInTheScriptsFolder) {
    folder.write("KelServerScripts/A.xml", "x");

    const ScriptFile script = locate(L"A.xml");

    EXPECT_TRUE(script.found);
    EXPECT_EQ(script.path, inFolder("KelServerScripts/A.xml"));
}

TEST_F(LocateScript, DoesNotLookInTheConfigurationFolderItself) {
    folder.write("A.xml", "x");

    EXPECT_FALSE(locate(L"A.xml").found);
}

TEST_F(LocateScript, AddsNoExtension) {
    folder.write("KelServerScripts/A.xml", "x");

    EXPECT_FALSE(locate(L"A").found);
}

TEST_F(LocateScript, FindsAFileWithoutAnExtension) {
    folder.write("KelServerScripts/A", "x");

    EXPECT_TRUE(locate(L"A").found);
}

TEST_F(LocateScript, FindsAFileByItsOwnNameOnly) {
    const std::wstring here = Platform::fromPath(folder.write("Here.xml", "x"));
    folder.write("KelServerScripts/A.xml", "x");

    for (const wchar_t* const odd : {L".", L"...", L" ", L":b", L"::$DATA"}) {
        EXPECT_FALSE(locate(std::wstring(L"A.xml") + odd).found);
        EXPECT_FALSE(locate(here + odd).found);
    }
    EXPECT_FALSE(locate(L"NUL").found);
}

TEST_F(LocateScript, TellsTheScriptsFolderForWhatIsMissing) {
    const ScriptFile script = locate(L"Gone.xml");

    EXPECT_FALSE(script.found);
    EXPECT_EQ(script.path, inFolder("KelServerScripts/Gone.xml"));
}

TEST_F(LocateScript, JoinsAMissingAbsoluteNameToTheScriptsFolder) {
    const ScriptFile script = locate(L"/nowhere/Gone.xml");

    EXPECT_FALSE(script.found);
    EXPECT_EQ(script.path.path(), inFolder("KelServerScripts/nowhere/Gone.xml").path());
}

TEST_F(LocateScript, DoesNotTakeAFolderForAScript) {
    folder.write("KelServerScripts/A.xml", "x");

    EXPECT_FALSE(locate(L"").found);
}

} // namespace Quarlen::Tests
