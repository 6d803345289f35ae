#include "platform/AtomicFile.hpp"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/UnfinishedFiles.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

struct stat statusOf(const std::filesystem::path& file) {
    struct stat status {};
    EXPECT_EQ(::lstat(file.c_str(), &status), 0);
    return status;
}

mode_t permissionsOf(const std::filesystem::path& file) {
    return statusOf(file).st_mode & 07777;
}

std::errc errorOf(const std::filesystem::path& file) {
    try {
        replaceFile(file, "new");
    } catch (const std::system_error& error) {
        return static_cast<std::errc>(error.code().value());
    }
    return std::errc{};
}

/// Lets writes beyond a size fail, as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : formerHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &former);
        const rlimit limit{bytes, former.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerHandler);
    }

private:
    void (*formerHandler)(int);
    rlimit former{};
};

class AtomicFileOnLinux : public testing::Test {
protected:
    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(AtomicFileOnLinux, KeepsThePermissionsOfAFileThatExists) {
    const auto file = folder.write("KelServer.xml", "old");
    ::chmod(file.c_str(), 0640);
    replaceFile(file, "new");
    EXPECT_EQ(permissionsOf(file), 0640U);
}

TEST_F(AtomicFileOnLinux, GivesANewFileTheUsualPermissions) {
    const mode_t former = ::umask(027);
    replaceFile(folder.path() / "new", "content");
    ::umask(former);
    EXPECT_EQ(permissionsOf(folder.path() / "new"), 0640U);
}

TEST_F(AtomicFileOnLinux, KeepsTheOwner) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser gives files away"; // chown(2)
    }
    const auto file = folder.write("KelServer.xml", "old");
    ASSERT_EQ(::chown(file.c_str(), 1234, 4321), 0);
    replaceFile(file, "new");
    EXPECT_EQ(statusOf(file).st_uid, 1234U);
    EXPECT_EQ(statusOf(file).st_gid, 4321U);
}

TEST_F(AtomicFileOnLinux, ReplacesTheFileThatALinkPointsTo) {
    std::filesystem::create_directory(folder.path() / "real");
    const auto real = folder.write("real/KelServer.xml", "old");
    std::filesystem::create_symlink("real/KelServer.xml", folder.path() / "second");
    std::filesystem::create_symlink(folder.path() / "second", folder.path() / "first");
    replaceFile(folder.path() / "first", "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / "first"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / "second"));
    EXPECT_EQ(folder.read("real/KelServer.xml"), "new");
}

TEST_F(AtomicFileOnLinux, CreatesTheFileThatALinkPointsTo) {
    std::filesystem::create_symlink("target", folder.path() / "link");
    replaceFile(folder.path() / "link", "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / "link"));
    EXPECT_EQ(folder.read("target"), "new");
}

TEST_F(AtomicFileOnLinux, RefusesACircleOfLinks) {
    std::filesystem::create_symlink("b", folder.path() / "a");
    std::filesystem::create_symlink("a", folder.path() / "b");
    EXPECT_EQ(errorOf(folder.path() / "a"), std::errc::too_many_symbolic_link_levels);
}

TEST_F(AtomicFileOnLinux, RefusesToReplaceAPipe) {
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf(folder.path() / "pipe"), std::errc::invalid_argument);
    EXPECT_TRUE(S_ISFIFO(statusOf(folder.path() / "pipe").st_mode));
}

TEST_F(AtomicFileOnLinux, LeavesTheOldContentWhenTheDiskTakesNoMore) {
    const auto file = folder.write("KelServer.xml", "old");
    {
        const FileSizeLimit limit(1000);
        EXPECT_THROW(replaceFile(file, std::string(2000, 'x')), std::system_error);
    }
    EXPECT_EQ(folder.read("KelServer.xml"), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(AtomicFileOnLinux, WritesIntoTheWorkingFolderForABareName) {
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    replaceFile("bare", "content");
    std::filesystem::current_path(former);
    EXPECT_EQ(folder.read("bare"), "content");
}

TEST_F(AtomicFileOnLinux, FindsWhatAKilledProcessHasLeft) {
    const auto file = folder.write("file", "old");
    const pid_t writer = ::fork();
    if (writer == 0) {
        const UnfinishedFile names(file);
        const int opened = ::open(names.partial.c_str(), O_WRONLY | O_CREAT, 0600);
        ::raise(opened >= 0 ? SIGKILL : SIGTERM);
        ::_exit(1);
    }
    const auto files = [&] {
        return std::distance(std::filesystem::directory_iterator(folder.path()), {});
    };
    siginfo_t end{};
    // The process is there until its end is taken note of.
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(writer), &end, WEXITED | WNOWAIT), 0);
    ASSERT_EQ(end.si_status, SIGKILL);
    settleUnfinishedFiles(file);
    EXPECT_EQ(files(), 2);

    ASSERT_EQ(::waitpid(writer, nullptr, 0), writer);
    settleUnfinishedFiles(file);

    EXPECT_EQ(files(), 1);
    EXPECT_EQ(folder.read("file"), "old");
}

} // namespace

} // namespace Quarlen::Platform::Tests
