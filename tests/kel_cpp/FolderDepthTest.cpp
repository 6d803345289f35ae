#include <string>

#include <gtest/gtest.h>

#include "kel_cpp/DataFolders.hpp"
#include "kel_cpp/ServedFiles.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// Longer than the calls of some systems take without more ado.
class FoldersWithLongPaths : public testing::Test {
protected:
    [[nodiscard]] std::string name(const std::string& file) const { return deep + "/" + file; }

    std::string deep = std::string(150, 'n') + "/" + std::string(150, 'm');
    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(FoldersWithLongPaths, HaveScriptsThatAreListed) {
    folder.write(name("KelServerScripts/b.xml"), "");
    folder.write(name("KelServerScripts/a.XML"), "");
    folder.write(name("KelServerScripts/c.txt"), "");

    EXPECT_EQ(listScripts(folder.inside(deep)), (std::vector<std::wstring>{L"a.XML", L"b.xml"}));
}

TEST_F(FoldersWithLongPaths, HaveReportsThatAreListedAndRead) {
    folder.write(name("a.html"), "report");

    const auto reports = listReports(folder.inside(deep));
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].name, L"a.html");
    EXPECT_EQ(reports[0].bytes, 6U);
    EXPECT_EQ(readReport(folder.inside(deep), L"a.html"), "report");
}

TEST_F(FoldersWithLongPaths, HaveDataThatIsListed) {
    const auto file = folder.write(name("flashdata/a.bin"), "content");

    const auto folders = listDataFolders(folder.inside(deep));
    ASSERT_EQ(folders.size(), 1U);
    EXPECT_EQ(folders[0]->name, L"flashdata");
    ASSERT_EQ(folders[0]->files.size(), 1U);
    EXPECT_EQ(folders[0]->files[0]->path, Platform::fromPath(file));
}

} // namespace

} // namespace Quarlen::Kel_cpp::Tests
