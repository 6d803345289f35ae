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
        return messageOf([&] { zipEntryNames(file, L"p.zip"); });
    }

    [[nodiscard]] std::wstring messageForContents(const std::filesystem::path& file,
                                                  std::uint64_t maxUnpacked = 100) const {
        return messageOf([&] { checkedZipEntryNames(file, L"p.zip", maxUnpacked); });
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ZipContents, NamesTheEntriesInTheArchivesOrder) {
    const auto file = writeZip(folder.path() / "a.pdx", {"z.odx", "sub/b.bin",
                                                         "Pr\xC3\xBC"
                                                         "f.txt"});

    EXPECT_THAT(zipEntryNames(file, L"p.zip"),
                ElementsAre(L"z.odx", L"sub/b.bin", L"Pr\u00FCf.txt"));
}

TEST_F(ZipContents, OpensAnArchiveWhoseNameIsNotAscii) {
    const auto file = writeZip(folder.path() / std::filesystem::path(u8"\u00FC\u6E2C.zip"), {"a"});

    EXPECT_THAT(zipEntryNames(file, L"p.zip"), ElementsAre(L"a"));
}

TEST_F(ZipContents, TakesAnArchiveWithoutEntries) {
    const std::string onlyItsEnd = std::string("PK\x05\x06") + std::string(18, '\0');

    EXPECT_THAT(zipEntryNames(folder.write("empty.zip", onlyItsEnd), L"p.zip"), IsEmpty());
}

TEST_F(ZipContents, RefusesAFileThatIsNoArchive) {
    const auto file = folder.write("text.zip", "this is no archive");

    EXPECT_THAT(messageFor(file),
                StartsWith(L"update package \"p.zip\": not a readable archive: "));
}

TEST_F(ZipContents, RefusesATruncatedArchive) {
    const auto file = writeZip(folder.path() / "a.zip", {"one", "two", "three"});
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 30);

    EXPECT_THAT(messageFor(file),
                StartsWith(L"update package \"p.zip\": not a readable archive: "));
}

TEST_F(ZipContents, RefusesAnEmptyFileAFolderAndAMissingFile) {
    EXPECT_THAT(messageFor(folder.write("empty.zip", "")), EndsWith(L": the file is empty"));
    EXPECT_THAT(messageFor(folder.path()), EndsWith(L": there is no regular file of this name"));
    EXPECT_THAT(messageFor(folder.path() / "none.zip"),
                EndsWith(L": there is no regular file of this name"));
}

TEST_F(ZipContents, RefusesEntriesThatLeadOutOfTheArchive) {
    for (const std::string name : {"/etc/passwd", "\\temp\\a", "C:\\a", "d:a", "..", "../a",
                                   "a/../b", "a\\..\\b", "a/..", "\\\\server\\a"}) {
        const auto file = writeZip(folder.path() / "a.zip", {"good", name});
        const std::wstring expected = L"update package \"p.zip\": the name of entry \"" +
                                      Platform::fromUtf8(name) + L"\" leads out of the archive";
        EXPECT_EQ(messageFor(file), expected);
        EXPECT_EQ(messageForContents(file), expected);
    }
}

TEST_F(ZipContents, TakesNamesThatOnlyLookLikeOnesThatLeadOut) {
    const auto file =
        writeZip(folder.path() / "a.zip", {"..a", "a..", "a/...", "a/b:c", "1:a", "a/", "."});

    EXPECT_THAT(checkedZipEntryNames(file, L"p.zip"), testing::SizeIs(7));
}

TEST_F(ZipContents, RefusesAnEntryWhoseChecksumIsWrong) {
    const auto file = writeZip(folder.path() / "a.zip", {"first", "second"});
    std::string bytes = folder.read("a.zip");
    bytes.replace(bytes.find("secondsecond") + 6, 6, "SECOND");
    folder.write("a.zip", bytes);

    EXPECT_EQ(messageForContents(file),
              L"update package \"p.zip\": entry \"second\" cannot be read: CRC error");
    EXPECT_THAT(zipEntryNames(file, L"p.zip"), ElementsAre(L"first", L"second"));
}

TEST_F(ZipContents, RefusesEntriesThatAreTooLargeInAll) {
    const auto file = writeZip(folder.path() / "a.zip", {"12345", "678"});

    EXPECT_EQ(messageForContents(file, 8), L"");
    EXPECT_EQ(messageForContents(file, 7),
              L"update package \"p.zip\": its entries have more than 7 bytes in all");
}

/// Reading ends at the limit: the wrong checksum, which is known at the entry's end, is not seen.
TEST_F(ZipContents, DoesNotUnpackMoreThanItsLimit) {
    const auto file = writeDeflatedZip(folder.path() / "a.zip", std::string(10'000'000, 'x'));
    std::string bytes = folder.read("a.zip");
    ASSERT_LT(bytes.size(), 20'000U);
    constexpr std::size_t checksum = 16;
    bytes[bytes.find("PK\x01\x02") + checksum] ^= 1;
    folder.write("a.zip", bytes);
    ASSERT_THAT(messageForContents(file, 20'000'000), EndsWith(L"CRC error"));

    EXPECT_THAT(messageForContents(file, 1000), EndsWith(L"more than 1000 bytes in all"));
}

/// The second entry may only have what the first has left.
TEST_F(ZipContents, DoesNotUnpackMoreThanItsLimitOfAllEntriesTogether) {
    const auto file = writeDeflatedZip(folder.path() / "a.zip", std::string(150'000, 'x'), 2);
    std::string bytes = folder.read("a.zip");
    constexpr std::size_t checksum = 16;
    bytes[bytes.rfind("PK\x01\x02") + checksum] ^= 1;
    folder.write("a.zip", bytes);
    ASSERT_THAT(messageForContents(file, 300'000), EndsWith(L"CRC error"));

    EXPECT_THAT(messageForContents(file, 200'000), EndsWith(L"more than 200000 bytes in all"));
}

TEST_F(ZipContents, ReportsWithTheCodeOfUpdates) {
    try {
        zipEntryNames(folder.path(), L"p.zip");
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
    EXPECT_EQ(zipEntryNames(writeZip(folder.path() / "full.zip", names), L"p.zip").size(),
              names.size());

    names.emplace_back("one more");
    EXPECT_THAT(messageFor(writeZip(folder.path() / "over.zip", names)),
                EndsWith(L": the archive has more than 100000 entries"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
