#include "std_util/FileTool.hpp"

#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

class FileToolTest : public testing::Test {
protected:
    [[nodiscard]] PathString at(const std::string& name) const {
        return PathString(folder.path() / name);
    }
    PathString write(const std::string& name, const std::string& content) const {
        return PathString(folder.write(name, content));
    }

    Quarlen::Tests::TemporaryFolder folder;
};

std::string failureOf(const PathString& path) {
    try {
        FileTool::readFile(path);
    } catch (const std::system_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST_F(FileToolTest, ARegularFileExists) {
    EXPECT_TRUE(FileTool::exists(write("file", "")));
    EXPECT_FALSE(FileTool::exists(at("missing")));
    EXPECT_FALSE(FileTool::exists(PathString()));
}

TEST_F(FileToolTest, AFolderDoesNotExistAsAFile) {
    EXPECT_FALSE(FileTool::exists(PathString(folder.path())));
    EXPECT_FALSE(FileTool::existsAndIsNotEmpty(PathString(folder.path())));
}

TEST_F(FileToolTest, ALinkExistsWhenItsFileDoes) {
    write("file", "content");
    if (!Quarlen::Tests::makeLink("file", folder.path() / "good") ||
        !Quarlen::Tests::makeLink("missing", folder.path() / "bad")) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }
    EXPECT_TRUE(FileTool::exists(at("good")));
    EXPECT_FALSE(FileTool::exists(at("bad")));
}

TEST_F(FileToolTest, ANameThatTheSystemRefusesDoesNotExist) {
    EXPECT_FALSE(FileTool::exists(std::wstring(100'000, L'n')));
    EXPECT_FALSE(FileTool::exists(at("file").wstr() + L"\xD800"));
}

TEST_F(FileToolTest, ANullCharacterDoesNotEndAName) {
    const PathString file = write("file", "content");
    EXPECT_FALSE(FileTool::exists(file.wstr() + std::wstring(L"\0.txt", 5)));
}

TEST_F(FileToolTest, AFileIsEmptyWithoutABytes) {
    EXPECT_FALSE(FileTool::existsAndIsNotEmpty(write("empty", "")));
    EXPECT_TRUE(FileTool::existsAndIsNotEmpty(write("full", "x")));
    EXPECT_FALSE(FileTool::existsAndIsNotEmpty(at("missing")));
}

TEST_F(FileToolTest, ReadsEveryByte) {
    const std::string content("\xEF\xBB\xBF line\r\n\0\x1A\xFF", 13);
    EXPECT_EQ(FileTool::readFile(write("bytes", content)), content);
    EXPECT_EQ(FileTool::readFile(write("empty", "")), "");
}

TEST_F(FileToolTest, ReadsALargeFile) {
    std::string content(20 * 1024 * 1024 + 3, 'k');
    content.back() = 'e';
    EXPECT_EQ(FileTool::readFile(write("large", content)), content);
}

TEST_F(FileToolTest, ReadsAFileWithAWideName) {
    const std::wstring name = L"\u00FCbung.xml";
    write(Quarlen::Platform::toUtf8(name), "content");
    EXPECT_EQ(FileTool::readFile(PathString(folder.path()).append(name)), "content");
}

TEST_F(FileToolTest, NamesTheFileThatCannotBeRead) {
    EXPECT_NE(failureOf(at("missing.xml")).find("missing.xml"), std::string::npos);
    EXPECT_NE(failureOf(at("missing.xml")).find("No such file"), std::string::npos);
    EXPECT_NE(failureOf(PathString(folder.path())).find("directory"), std::string::npos);
}

struct NameCase {
    const wchar_t* path;
    const wchar_t* name;
};

class FileNameFromPath : public testing::TestWithParam<NameCase> {};

TEST_P(FileNameFromPath, IsWhatFollowsTheLastSeparator) {
    EXPECT_EQ(FileTool::fileNameFromPath(GetParam().path), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Paths, FileNameFromPath,
                         testing::Values(NameCase{L"/a/b/report.html", L"report.html"},
                                         NameCase{L"report.html", L"report.html"},
                                         NameCase{L"folder/", L""}, NameCase{L"", L""},
                                         NameCase{L"/a/\u00FC.pdx", L"\u00FC.pdx"}));

TEST(IsFilePathValid, TellsWhetherAFileCouldHaveThePath) {
    EXPECT_TRUE(FileTool::isFilePathValid(L"config/Demo.xml"));
    EXPECT_FALSE(FileTool::isFilePathValid(L""));
    EXPECT_FALSE(FileTool::isFilePathValid(L"config/"));
    EXPECT_FALSE(FileTool::isFilePathValid(std::wstring(L"a\0b", 3)));
    EXPECT_FALSE(FileTool::isFilePathValid(L"bad\xD800"));
}

struct TypeCase {
    const wchar_t* path;
    std::int32_t type;
};

class FileType : public testing::TestWithParam<TypeCase> {};

TEST_P(FileType, ComesFromTheEndingOfTheName) {
    EXPECT_EQ(FileTool::getFileType(GetParam().path), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(Endings, FileType,
                         testing::Values(TypeCase{L"a.pdx", 18}, TypeCase{L"a.zip", 103},
                                         TypeCase{L"/x/A.PDX", 18}, TypeCase{L"a.Zip", 103},
                                         TypeCase{L"a.tar.zip", 103}, TypeCase{L"a.zip.txt", 0},
                                         TypeCase{L"zip", 0}, TypeCase{L"azip", 0},
                                         TypeCase{L"a.zip/", 0}, TypeCase{L"", 0},
                                         TypeCase{L"a.p\u0434x", 0}));

} // namespace

} // namespace StdUtil::Tests
