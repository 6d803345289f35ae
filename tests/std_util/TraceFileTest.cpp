#include "std_util/TraceFile.hpp"

#include <chrono>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

class TraceFileTest : public testing::Test {
protected:
    void trace(TraceListener& listener, std::wstring text,
               TraceLevel level = TraceLevel::Info) const {
        listener.onTrace({level, L"kel_server_lib/RESTServer", 197, std::move(text)});
    }

    /// The last part of the only line.
    [[nodiscard]] std::string textWritten() const {
        const std::string content = folder.read("trace.log");
        const std::string mark = "RESTServer:197 ";
        EXPECT_EQ(content.find('\n'), content.size() - 1) << content;
        return content.substr(content.find(mark) + mark.size());
    }

    Quarlen::Tests::TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "trace.log";
};

TEST_F(TraceFileTest, WritesTimeLevelSourceLineAndText) {
    trace(*openTraceFile(file), L"-> startSequence");
    const std::regex expected(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d info  )"
                              "kel_server_lib/RESTServer:197 -> startSequence\n");
    EXPECT_TRUE(std::regex_match(folder.read("trace.log"), expected)) << folder.read("trace.log");
}

TEST_F(TraceFileTest, NamesTheLevelOfAnError) {
    trace(*openTraceFile(file), L"text", TraceLevel::Error);
    EXPECT_NE(folder.read("trace.log").find(" error kel_server_lib"), std::string::npos);
}

TEST_F(TraceFileTest, IsWrittenInUtf8) {
    trace(*openTraceFile(file), L"\u00FC\U0001F697");
    EXPECT_EQ(textWritten(), "\xC3\xBC\xF0\x9F\x9A\x97\n");
}

TEST_F(TraceFileTest, IsWrittenWhileTheListenerIsStillThere) {
    const auto listener = openTraceFile(file);
    trace(*listener, L"text");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (folder.read("trace.log").empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(textWritten(), "text\n");
}

TEST_F(TraceFileTest, HasEveryTraceOnceTheListenerHasGone) {
    constexpr int count = 20'000;
    auto listener = openTraceFile(file);
    for (int number = 0; number < count; ++number) {
        trace(*listener, std::to_wstring(number));
    }
    listener.reset();
    std::istringstream content(folder.read("trace.log"));
    int expected = 0;
    for (std::string line; std::getline(content, line); ++expected) {
        ASSERT_TRUE(line.ends_with("RESTServer:197 " + std::to_string(expected))) << line;
    }
    EXPECT_EQ(expected, count);
}

TEST_F(TraceFileTest, KeepsATraceOnOneLine) {
    trace(*openTraceFile(file), L"one\ntwo\r\nthree\rfour\n");
    EXPECT_EQ(textWritten(), "one\\ntwo\\nthree\\nfour\\n\n");
}

TEST_F(TraceFileTest, ShowsControlCharactersInsteadOfObeyingThem) {
    trace(*openTraceFile(file), std::wstring(L"a\tb\x1B[2Jc\0d", 10));
    EXPECT_EQ(textWritten(), "a\tb\\x1b[2Jc\\x00d\n");
}

TEST_F(TraceFileTest, ShowsTheControlCharactersBeyondAsciiToo) {
    trace(*openTraceFile(file), L"a~b\x7F\x80"
                                L"c\x9B"
                                L"2J\x9F\xA0"
                                L"d");
    EXPECT_EQ(textWritten(), "a~b\\x7f\\x80c\\x9b2J\\x9f\xC2\xA0"
                             "d\n");
}

TEST_F(TraceFileTest, TakesBracesAndPercentSignsAsTheyAre) {
    trace(*openTraceFile(file), L"{} {0} %d %v");
    EXPECT_EQ(textWritten(), "{} {0} %d %v\n");
}

TEST_F(TraceFileTest, GoesOnBehindWhatIsThere) {
    trace(*openTraceFile(file), L"first");
    trace(*openTraceFile(file), L"second");
    const std::string content = folder.read("trace.log");
    EXPECT_LT(content.find("first"), content.find("second"));
    EXPECT_NE(content.find("second"), std::string::npos);
}

TEST_F(TraceFileTest, KeepsThreeFilesOfFiveMegabytes) {
    auto listener = openTraceFile(file);
    const std::wstring text(1'000'000, L'x');
    for (int count = 0; count < 18; ++count) {
        trace(*listener, text);
    }
    listener.reset();
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        ++files;
        EXPECT_LE(entry.file_size(), 5U * 1024 * 1024) << entry.path();
    }
    EXPECT_EQ(files, 3U);
}

TEST_F(TraceFileTest, NamesTheFileThatCannotBeOpened) {
    std::filesystem::create_directory(file);
    try {
        openTraceFile(file);
        FAIL() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("trace.log"), std::string::npos);
        EXPECT_THAT(std::string(error.what()), Quarlen::Tests::EndsWithANumber());
    }
}

TEST_F(TraceFileTest, CreatesTheFolderThatItNeeds) {
    trace(*openTraceFile(folder.path() / "traces" / "trace.log"), L"text");
    EXPECT_TRUE(std::filesystem::is_regular_file(folder.path() / "traces" / "trace.log"));
}

} // namespace

} // namespace StdUtil::Tests
