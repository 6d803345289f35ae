#include "kel_cpp/jobs/FlashFile.hpp"

#include <filesystem>

#include <gmock/gmock.h>

#include "platform/FileNames.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/UnreadableFile.hpp"
#include "uds/Crc32.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Kel_cpp::Tests {

using Uds::Bytes;

namespace {

class FlashFile : public testing::Test {
protected:
    /// Has no blocks on the disk, whatever its size.
    void makeSparseFile(const std::string& name, std::uint64_t size) const {
        std::filesystem::resize_file(folder.write(name, ""), size);
    }

    [[nodiscard]] std::wstring errorOf(const std::wstring& name) const {
        try {
            readFlashFile(folder.path(), name);
        } catch (const FlashError& error) {
            return error.message();
        }
        return {};
    }

    Quarlen::Tests::TemporaryFolder folder;
};

} // namespace

TEST_F(FlashFile, IsReadAsItIs) {
    folder.write("a.bin", std::string("a\r\n\0\x1A", 5));
    EXPECT_EQ(readFlashFile(folder.path(), L"a.bin"), (Bytes{'a', '\r', '\n', 0x00, 0x1A}));
}

TEST_F(FlashFile, IsReadWhateverTheLengthOfItsPath) {
    const std::string deep = std::string(150, 'n') + "/" + std::string(150, 'm');
    folder.write(deep + "/a.bin", "content");
    EXPECT_EQ(readFlashFile(folder.inside(deep), L"a.bin").size(), 7U);
}

TEST_F(FlashFile, ThatCannotBeOpenedIsRefusedWithTheCause) {
    const Quarlen::Tests::UnreadableFile unreadable(folder.write("a.bin", "content"));
    EXPECT_THAT(errorOf(L"a.bin"), testing::AllOf(testing::StartsWith(L"the file cannot be read: "),
                                                  Quarlen::Tests::EndsWithANumber()));
}

TEST_F(FlashFile, ThatIsEmptyIsSaidToBe) {
    folder.write("a.bin", "");
    EXPECT_EQ(errorOf(L"a.bin"), L"the file is empty");
}

TEST_F(FlashFile, RefusesANameThatLeavesTheFolder) {
    for (const auto* name : {L"../secret.bin", L"sub/file.bin", L"..", L".", L"", L"/etc/passwd"}) {
        EXPECT_THROW(readFlashFile("/tmp", name), FlashError);
    }
}

TEST_F(FlashFile, IsReadByItsOwnNameOnly) {
    folder.write("a.bin", "content");
    for (const wchar_t* const name : {L"a.bin.", L"a.bin ", L"a.bin:b", L"nul.bin", L"com\u00B9"}) {
        EXPECT_EQ(errorOf(name),
                  Platform::isTakenLiterally(Platform::toPath(name))
                      ? L"the file does not exist in " + Platform::fromPath(folder.path())
                      : L"this is no plain file name");
    }
}

TEST_F(FlashFile, MustHaveTheSizeAndTheChecksumThatTheProjectSays) {
    const Bytes content{'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    FlashSessionDescription session;
    session.size = 9;
    session.checksum = 0xCBF43926;
    EXPECT_NO_THROW(checkFlashFile(content, session));
    EXPECT_THROW(checkFlashFile({'1', '2', '3'}, session), FlashError);
    EXPECT_THROW(checkFlashFile({'1', '2', '3', '4', '5', '6', '7', '8', '0'}, session),
                 FlashError);
}

TEST_F(FlashFile, MayHaveOneOfSizeAndChecksum) {
    FlashSessionDescription session;
    session.size = 3;
    EXPECT_NO_THROW(checkFlashFile({'1', '2', '3'}, session));
    EXPECT_THROW(checkFlashFile({'1', '2'}, session), FlashError);
    EXPECT_THROW(checkFlashFile({'1', '2', '3', '4'}, session), FlashError);
    session.size.reset();
    session.checksum = Uds::crc32(reinterpret_cast<const std::uint8_t*>("123"), 3);
    EXPECT_NO_THROW(checkFlashFile({'1', '2', '3'}, session));
    EXPECT_THROW(checkFlashFile({'1', '2'}, session), FlashError);
}

TEST_F(FlashFile, ThatNobodyCanCheckIsTakenOnlyWhereTheProjectSaysSo) {
    FlashSessionDescription session;
    try {
        checkFlashFile({'1'}, session);
        ADD_FAILURE() << "taken";
    } catch (const FlashError& error) {
        EXPECT_EQ(
            error.message(),
            L"the project tells neither the size nor the checksum of the file, so that nobody "
            L"knows whether it is whole; unchecked=\"true\" in the project lets it be flashed");
    }
    session.unchecked = true;
    EXPECT_NO_THROW(checkFlashFile({'1'}, session));
}

TEST_F(FlashFile, ThatIsTakenUncheckedStillHasToBeWhatTheProjectSays) {
    FlashSessionDescription session;
    session.unchecked = true;
    session.size = 2;
    EXPECT_THROW(checkFlashFile({'1'}, session), FlashError);
}

TEST_F(FlashFile, ThatIsMissingDoesNotExist) {
    EXPECT_EQ(errorOf(L"none.bin"),
              L"the file does not exist in " + Platform::fromPath(folder.path()));
}

TEST_F(FlashFile, MustNotBeAFolder) {
    std::filesystem::create_directory(folder.path() / "a.bin");
    EXPECT_EQ(errorOf(L"a.bin"), L"this is no regular file");
}

TEST_F(FlashFile, LargerThanAnyMemoryIsNotEvenRead) {
    makeSparseFile("a.bin", maxFlashFileSize + 1);
    EXPECT_EQ(errorOf(L"a.bin"),
              L"the file is too large: 268435457 bytes, at most 268435456 can be flashed");
}

namespace {

/// A file while its job is cancelled.
class CancelledFlashFile : public testing::Test {
protected:
    CancelledFlashFile() { folder.write("a.bin", "content"); }

    static std::stop_token cancelled() {
        std::stop_source source;
        source.request_stop();
        return source.get_token();
    }

    Quarlen::Tests::TemporaryFolder folder;
};

} // namespace

TEST_F(CancelledFlashFile, IsNotRead) {
    EXPECT_THROW(readFlashFile(folder.path(), L"a.bin", cancelled()), Uds::Cancelled);
}

TEST_F(CancelledFlashFile, IsNotChecked) {
    FlashSessionDescription session{L"S", L"a.bin", 0};
    session.checksum = 0;
    EXPECT_THROW(checkFlashFile({1, 2, 3}, session, cancelled()), Uds::Cancelled);
    EXPECT_THROW(checksumOf({1, 2, 3}, cancelled()), Uds::Cancelled);
}

TEST(FlashFileChecksum, IsThatOfTheWholeContentHoweverLong) {
    const Uds::Bytes content(3'000'001, 0xA5);
    EXPECT_EQ(checksumOf(content), Uds::crc32(content.data(), content.size()));
    EXPECT_EQ(checksumOf({'1', '2', '3', '4', '5', '6', '7', '8', '9'}), 0xCBF43926U);
}

} // namespace Quarlen::Kel_cpp::Tests
