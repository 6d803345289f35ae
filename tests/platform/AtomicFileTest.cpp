#include "platform/AtomicFile.hpp"

#include <atomic>
#include <chrono>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

class AtomicFile : public testing::Test {
protected:
    [[nodiscard]] std::ptrdiff_t filesInFolder() const {
        return std::distance(std::filesystem::directory_iterator(folder.path()),
                             std::filesystem::directory_iterator());
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(AtomicFile, CreatesAFileThatDoesNotExist) {
    replaceFile(folder.path() / "new.xml", "content");
    EXPECT_EQ(folder.read("new.xml"), "content");
}

TEST_F(AtomicFile, ReplacesTheWholeContent) {
    const auto file = folder.write("KelServer.xml", "a much longer content than the new one");
    replaceFile(file, "short");
    EXPECT_EQ(folder.read("KelServer.xml"), "short");
}

TEST_F(AtomicFile, WritesNothingAsAnEmptyFile) {
    const auto file = folder.write("KelServer.xml", "old");
    replaceFile(file, "");
    EXPECT_EQ(folder.read("KelServer.xml"), "");
}

TEST_F(AtomicFile, WritesEveryByteOfALargeContent) {
    std::string content(8 * 1024 * 1024 + 17, '\0');
    for (std::size_t index = 0; index < content.size(); ++index) {
        content[index] = static_cast<char>(index * 31 % 256);
    }
    replaceFile(folder.path() / "large", content);
    EXPECT_EQ(folder.read("large"), content);
}

TEST_F(AtomicFile, LeavesNoOtherFileBehind) {
    replaceFile(folder.path() / "file", "first");
    replaceFile(folder.path() / "file", "second");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(AtomicFile, NamesTheFileWhenTheFolderIsMissing) {
    try {
        replaceFile(folder.path() / "missing" / "KelServer.xml", "content");
        FAIL() << "nothing thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_NE(std::string(error.what()).find("KelServer.xml"), std::string::npos);
    }
}

TEST_F(AtomicFile, RefusesToReplaceAFolder) {
    std::filesystem::create_directory(folder.path() / "config");
    EXPECT_THROW(replaceFile(folder.path() / "config", "content"), std::system_error);
    EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "config"));
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(AtomicFile, ShowsReadersTheOldOrTheNewContentButNoMixture) {
    const std::string first(100'000, 'a');
    const std::string second(50'000, 'b');
    const auto file = folder.write("shared", first);
    std::string failure;
    std::atomic<bool> done{false};
    const std::jthread writer([&] {
        try {
            for (int round = 0; round < 50; ++round) {
                replaceFile(file, round % 2 == 0 ? second : first);
            }
        } catch (const std::exception& error) {
            failure = error.what();
        }
        done = true;
    });
    int mixtures = 0;
    while (!done) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // a file is not always read
        std::ifstream reader(file, std::ios::binary);
        if (!reader) {
            continue; // in the moment of the exchange Windows may refuse a reader
        }
        const std::string seen{std::istreambuf_iterator<char>(reader), {}};
        mixtures += seen != first && seen != second ? 1 : 0;
    }
    EXPECT_EQ(failure, "");
    EXPECT_EQ(mixtures, 0);
}

TEST_F(AtomicFile, MovesAFileOverAnotherOne) {
    const auto target = folder.write("target", "old");

    moveOver(folder.write("file", "new"), target);

    EXPECT_EQ(folder.read("target"), "new");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(AtomicFile, SaysThatAFileToMoveIsMissing) {
    const auto target = folder.write("target", "old");

    EXPECT_THROW(moveOver(folder.path() / "missing", target), std::system_error);

    EXPECT_EQ(folder.read("target"), "old");
}

} // namespace

} // namespace Quarlen::Platform::Tests
