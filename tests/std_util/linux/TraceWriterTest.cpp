#include "std_util/TraceWriter.hpp"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sys/resource.h>

#include <gmock/gmock.h>

#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

/// As on a disk that is full then, no file of this process grows beyond so many bytes.
class FullDisk {
public:
    explicit FullDisk(std::size_t fileSize) : formerHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &former);
        const rlimit limit{fileSize, former.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerHandler);
    }

private:
    rlimit former{};
    void (*formerHandler)(int);
};

TimedTrace traceOf(const std::wstring& text) {
    return {std::chrono::system_clock::now(), {TraceLevel::Info, L"Source", 1, text}};
}

class TraceWriterOnAFullDisk : public testing::Test {
protected:
    void SetUp() override { writer.write({traceOf(L"before")}); }

    [[nodiscard]] std::string written() const { return folder.read("trace.log"); }
    /// Room for a part of one more line.
    [[nodiscard]] std::size_t almostFull() const { return written().size() + 20; }

    Quarlen::Tests::TemporaryFolder folder;
    TraceWriter writer{folder.path() / "trace.log"};
};

TEST_F(TraceWriterOnAFullDisk, BeginsANewLineAfterwardsAndSaysHowManyTracesWereLost) {
    {
        const FullDisk disk(almostFull());
        writer.write({traceOf(L"lost 1"), traceOf(L"lost 2")});
        writer.write({traceOf(L"lost 3")});
    }
    writer.write({traceOf(L"after"), traceOf(L"last")});

    EXPECT_THAT(written(), MatchesRegex("[^\n]+ Source:1 before\n"
                                        "[^\n]{20}\n"
                                        "[^\n]+ error std_util/TraceWriter:[0-9]+ lines lost "
                                        "while the file could not be written: 3\n"
                                        "[^\n]+ Source:1 after\n"
                                        "[^\n]+ Source:1 last\n"));
}

TEST_F(TraceWriterOnAFullDisk, CountsTheTracesOfEachTimeAnew) {
    for (const wchar_t* const text : {L"one", L"two"}) {
        {
            const FullDisk disk(almostFull());
            writer.write({traceOf(L"lost")});
        }
        writer.write({traceOf(text)});
    }

    const std::string all = written();
    EXPECT_THAT(all, AllOf(HasSubstr("Source:1 one\n"), HasSubstr("Source:1 two\n"),
                           testing::Not(HasSubstr("written: 2"))));
    EXPECT_NE(all.find("written: 1\n"), all.rfind("written: 1\n"));
}

TEST_F(TraceWriterOnAFullDisk, DoesNotTryTheTracesBehindOneThatIsLost) {
    {
        const FullDisk disk(almostFull() + 40);
        writer.write({traceOf(std::wstring(200, L'x')), traceOf(L"short")});
    }
    writer.write({traceOf(L"after")});

    EXPECT_THAT(written(),
                AllOf(HasSubstr("written: 2\n"), testing::Not(HasSubstr("Source:1 short"))));
}

TEST_F(TraceWriterOnAFullDisk, SaysNothingOnTheConsole) {
    writer.write({traceOf(std::wstring(1'000'000, L'x'))});
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        // What is captured goes to files as well, which stay below this.
        const FullDisk disk(almostFull());
        writer.write({traceOf(L"lost")});
        writer.write({traceOf(L"lost")});
    }

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(TraceWriterWithoutItsFolder, GoesOnOnceTheFileCanBeOpenedAgain) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto traces = folder.path() / "traces";
    TraceWriter writer(traces / "trace.log");
    std::filesystem::remove_all(traces);
    folder.write("traces", "a file in the folder's place");
    // Fills the file, so that the next line needs another one.
    writer.write({traceOf(std::wstring(5'300'000, L'x'))});
    writer.write({traceOf(L"lost")});
    writer.write({traceOf(L"lost as well")});
    std::filesystem::remove(traces);

    writer.write({traceOf(L"found")});

    EXPECT_THAT(folder.read("traces/trace.log"),
                MatchesRegex("[^\n]+ written: [12]\n[^\n]+ Source:1 found\n"));
}

/// The process's time zone, for one test.
class TimeZone {
public:
    explicit TimeZone(const char* name) {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        ::unsetenv("TZ");
        ::tzset();
    }
};

TEST(TraceWriterInATimeZone, WritesTheLocalTimeWithItsOffsetFromUtc) {
    const Quarlen::Tests::TemporaryFolder folder;
    const TimeZone zone("KEL-5:30");
    TimedTrace trace = traceOf(L"text");
    trace.time = std::chrono::system_clock::from_time_t(86'400) + std::chrono::milliseconds(7);

    TraceWriter(folder.path() / "trace.log").write({trace});

    EXPECT_EQ(folder.read("trace.log"), "1970-01-02 05:30:00.007+05:30 info  Source:1 text\n");
}

} // namespace

} // namespace StdUtil::Tests
