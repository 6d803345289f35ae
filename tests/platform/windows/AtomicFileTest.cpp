#include "platform/AtomicFile.hpp"

#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>
#include <windows.h>

#include <gmock/gmock.h>

#include "platform/AppendFile.hpp"
#include "platform/FilePrivacy.hpp"
#include "platform/FlushFile.hpp"
#include "platform/UnfinishedFiles.hpp"
#include "platform/windows/FileReplacement.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/FileAccess.hpp"
#include "tests/support/KilledWriter.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

using testing::IsEmpty;

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleClose>;

/// As virus scanners do: others may read the file, but neither write nor replace it.
Handle hold(const std::filesystem::path& file, DWORD others = FILE_SHARE_READ) {
    void* const opened = ::CreateFileW(file.c_str(), GENERIC_READ, others, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(opened, INVALID_HANDLE_VALUE);
    return Handle(opened);
}

class ReadOnly {
public:
    explicit ReadOnly(std::filesystem::path name) : file(std::move(name)) {
        ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    }
    ReadOnly(const ReadOnly&) = delete;
    ReadOnly& operator=(const ReadOnly&) = delete;
    ~ReadOnly() { ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL); }

private:
    const std::filesystem::path file;
};

template <class Function>
int codeOf(Function function) {
    try {
        function();
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return ERROR_SUCCESS;
}

class AtomicFileOnWindows : public testing::Test {
protected:
    /// Another thread lets the file go while this one sleeps for the first time.
    void releaseAtTheFirstSleep(Handle& held) {
        clock.onSleep([&](std::chrono::milliseconds /*duration*/) {
            std::jthread([&held] { held.reset(); }).join();
        });
    }
    [[nodiscard]] std::ptrdiff_t files() const {
        return std::distance(std::filesystem::directory_iterator(folder.path()), {});
    }

    Quarlen::Tests::TemporaryFolder folder;
    std::filesystem::path file = folder.write("KelServer.xml", "old");
    Quarlen::Tests::FakeClock clock;
};

TEST_F(AtomicFileOnWindows, ReplacesAFileWhosePathIsLong) {
    std::wstring name = folder.path().native();
    while (name.size() < 300) {
        name += L"\\" + std::wstring(50, L'x');
        ASSERT_NE(::CreateDirectoryW((L"\\\\?\\" + name).c_str(), nullptr), FALSE);
    }
    const std::filesystem::path deep = name + L"\\KelServer.xml";

    replaceFile(deep, "old", clock);
    replaceFile(deep, "new", clock);
    flushFile(deep, clock);

    const auto opened = AppendFile::open(deep);
    EXPECT_EQ(opened->size(), 3U);
}

TEST_F(AtomicFileOnWindows, RefusesAReadOnlyFileAtOnce) {
    const ReadOnly protection(file);

    EXPECT_EQ(codeOf([&] { replaceFile(file, "new", clock); }), ERROR_ACCESS_DENIED);

    EXPECT_THAT(clock.sleeps(), IsEmpty());
    EXPECT_EQ(folder.read("KelServer.xml"), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(AtomicFileOnWindows, KeepsThePermissions) {
    Quarlen::Tests::makePrivate(file);
    replaceFile(file, "private", clock);
    EXPECT_TRUE(isPrivate(file));

    Quarlen::Tests::makeReadableByAll(file);
    replaceFile(file, "for all", clock);
    EXPECT_FALSE(isPrivate(file));
    EXPECT_EQ(folder.read("KelServer.xml"), "for all");
}

TEST_F(AtomicFileOnWindows, ReplacesAFileOnceItsReaderHasClosedIt) {
    Handle held = hold(file);
    releaseAtTheFirstSleep(held);

    replaceFile(file, "new", clock);

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(1));
    EXPECT_EQ(folder.read("KelServer.xml"), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(AtomicFileOnWindows, LeavesAFileAloneThatItsReaderKeeps) {
    const Handle held = hold(file);
    clock.onSleep(
        [&](std::chrono::milliseconds /*duration*/) { clock.advance(maxReplacementTime); });

    EXPECT_NE(codeOf([&] { replaceFile(file, "new", clock); }), ERROR_SUCCESS);

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(1));
    EXPECT_EQ(folder.read("KelServer.xml"), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(AtomicFileOnWindows, HasTheWholeContentOnTheDiskBeforeItTouchesTheTarget) {
    Handle held = hold(file);
    std::vector<std::string> beside;
    clock.onSleep([&](std::chrono::milliseconds /*duration*/) {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            const std::filesystem::path& name = entry.path();
            if (name.extension() == ".new" || name.extension() == ".part") {
                beside.push_back(name.extension().string() + " " +
                                 folder.read(name.filename().string()));
            }
        }
        held.reset();
    });

    replaceFile(file, "new", clock);

    EXPECT_THAT(beside, testing::ElementsAre(".new new"));
}

TEST_F(AtomicFileOnWindows, FindsWhatIsLeftWhateverTheCapitalsOfTheName) {
    const auto left =
        Quarlen::Tests::ofAKilledProcess(UnfinishedFile(folder.path() / "KELSERVER.XML").partial);
    folder.write(left.filename().string(), "par");

    settleUnfinishedFiles(file);

    EXPECT_EQ(files(), 1);
}

TEST_F(AtomicFileOnWindows, MovesOverAFileOnceItsReaderHasClosedIt) {
    const auto package = folder.write("package.partial", "new");
    Handle held = hold(file);
    releaseAtTheFirstSleep(held);

    moveOver(package, file, clock);

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(1));
    EXPECT_EQ(folder.read("KelServer.xml"), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(AtomicFileOnWindows, MovesAFileOnceItsReaderHasClosedIt) {
    const auto package = folder.write("package.partial", "new");
    Handle held = hold(package);
    releaseAtTheFirstSleep(held);

    moveOver(package, file, clock);

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(1));
    EXPECT_EQ(folder.read("KelServer.xml"), "new");
}

TEST_F(AtomicFileOnWindows, FlushesAFileOnceItsReaderHasClosedIt) {
    Handle held = hold(file);
    releaseAtTheFirstSleep(held);

    flushFile(file, clock);

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(1));
}

TEST_F(AtomicFileOnWindows, FlushesNoReadOnlyFileAndSaysSoAtOnce) {
    const ReadOnly protection(file);

    EXPECT_EQ(codeOf([&] { flushFile(file, clock); }), ERROR_ACCESS_DENIED);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

} // namespace
} // namespace Quarlen::Platform::Tests
