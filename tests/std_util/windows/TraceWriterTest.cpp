#include "std_util/TraceWriter.hpp"

#include <memory>
#include <sstream>
#include <string>
#include <windows.h>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

constexpr int tracesInAll = 60'000;
constexpr int tracesAtOnce = 1'000;

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};

/// As most viewers do: others may write into the file, but neither rename nor remove it.
std::unique_ptr<void, HandleClose> view(const std::filesystem::path& file) {
    void* const handle =
        ::CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(handle, INVALID_HANDLE_VALUE);
    return std::unique_ptr<void, HandleClose>(handle);
}

class TraceWriterBesideAViewer : public testing::Test {
protected:
    /// Numbered traces of more than 100 bytes each.
    void writeTraces(int from, int to) {
        const std::wstring filling(100, L'x');
        for (int number = from; number < to;) {
            std::vector<TimedTrace> traces;
            for (int count = 0; count < tracesAtOnce; ++count, ++number) {
                traces.push_back(
                    {std::chrono::system_clock::now(),
                     {TraceLevel::Info, L"Source", 1, filling + L" " + std::to_wstring(number)}});
            }
            writer.write(traces);
        }
    }

    /// True when the lines are the traces from `number` on; moves the number on.
    [[nodiscard]] bool hasTraces(const std::string& name, int& number) const {
        std::istringstream lines(folder.read(name));
        for (std::string line; std::getline(lines, line); ++number) {
            if (!line.ends_with("x " + std::to_string(number))) {
                return false;
            }
        }
        return true;
    }

    [[nodiscard]] bool isThere(const std::string& name) const {
        return std::filesystem::exists(folder.path() / name);
    }

    Quarlen::Tests::TemporaryFolder folder;
    TraceWriter writer{folder.path() / "trace.log"};
};

TEST_F(TraceWriterBesideAViewer, LosesNothingAndPutsTheFileAsideAfterwards) {
    {
        const auto viewer = view(folder.path() / "trace.log");
        writeTraces(0, tracesInAll);
        int seen = 0;
        EXPECT_TRUE(hasTraces("trace.log", seen));
        EXPECT_EQ(seen, tracesInAll);
        EXPECT_FALSE(isThere("trace.1.log"));
    }
    writeTraces(tracesInAll, tracesInAll + 4 * tracesAtOnce);

    ASSERT_TRUE(isThere("trace.1.log"));
    int seen = 0;
    EXPECT_TRUE(hasTraces("trace.1.log", seen));
    EXPECT_TRUE(hasTraces("trace.log", seen));
    EXPECT_EQ(seen, tracesInAll + 4 * tracesAtOnce);
}

TEST_F(TraceWriterBesideAViewer, LosesNothingWhileAFormerFileIsViewed) {
    folder.write("trace.1.log", "former");
    const auto viewer = view(folder.path() / "trace.1.log");
    writeTraces(0, tracesInAll);

    int seen = 0;
    EXPECT_TRUE(hasTraces("trace.log", seen));
    EXPECT_EQ(seen, tracesInAll);
    EXPECT_EQ(folder.read("trace.1.log"), "former");
}

} // namespace

} // namespace StdUtil::Tests
