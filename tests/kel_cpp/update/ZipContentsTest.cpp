#include "kel_cpp/update/ZipContents.hpp"

#include <array>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/update/ZipFiles.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

class ZipContents : public testing::Test {
protected:
    [[nodiscard]] std::wstring messageFor(const std::filesystem::path& file) const {
        return messageOf([&] { zipEntryNames(file); });
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ZipContents, NamesTheEntriesInTheArchivesOrder) {
    const auto file = writeZip(folder.path() / "a.pdx", {"z.odx", "sub/b.bin",
                                                         "Pr\xC3\xBC"
                                                         "f.txt"});

    EXPECT_THAT(zipEntryNames(file), ElementsAre(L"z.odx", L"sub/b.bin", L"Pr\u00FCf.txt"));
}

TEST_F(ZipContents, OpensAnArchiveWhoseNameIsNotAscii) {
    const auto file = writeZip(folder.path() / std::filesystem::path(u8"\u00FC\u6E2C.zip"), {"a"});

    EXPECT_THAT(zipEntryNames(file), ElementsAre(L"a"));
}

TEST_F(ZipContents, TakesAnArchiveWithoutEntries) {
    const std::string onlyItsEnd = std::string("PK\x05\x06") + std::string(18, '\0');

    EXPECT_THAT(zipEntryNames(folder.write("empty.zip", onlyItsEnd)), IsEmpty());
}

TEST_F(ZipContents, RefusesAFileThatIsNoArchive) {
    const auto file = folder.write("text.zip", "this is no archive");

    EXPECT_THAT(messageFor(file),
                StartsWith(Platform::fromPath(file) + L": not a readable archive: "));
}

TEST_F(ZipContents, RefusesATruncatedArchive) {
    const auto file = writeZip(folder.path() / "a.zip", {"one", "two", "three"});
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 30);

    EXPECT_THAT(messageFor(file), StartsWith(Platform::fromPath(file) + L": "));
}

TEST_F(ZipContents, RefusesAnEmptyFileAFolderAndAMissingFile) {
    EXPECT_THAT(messageFor(folder.write("empty.zip", "")), EndsWith(L": the file is empty"));
    EXPECT_THAT(messageFor(folder.path()), EndsWith(L": there is no regular file of this name"));
    EXPECT_THAT(messageFor(folder.path() / "none.zip"),
                EndsWith(L"none.zip: there is no regular file of this name"));
}

TEST_F(ZipContents, ReportsWithTheCodeOfUpdates) {
    try {
        zipEntryNames(folder.path());
        FAIL() << "was taken";
    } catch (const KelApiException& error) {
        EXPECT_EQ(error.code(), static_cast<std::int32_t>(ErrorCode::Update));
    }
}

TEST_F(ZipContents, TakesAHundredThousandEntriesAndRefusesMore) {
    std::vector<std::string> names;
    for (std::size_t index = 0; index < maxZipEntries; ++index) {
        names.push_back(std::to_string(index));
    }
    EXPECT_EQ(zipEntryNames(writeZip(folder.path() / "full.zip", names)).size(), names.size());

    names.emplace_back("one more");
    EXPECT_THAT(messageFor(writeZip(folder.path() / "over.zip", names)),
                EndsWith(L": the archive has more than 100000 entries"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
