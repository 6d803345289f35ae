#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Console.hpp"
#include "platform/SystemPaths.hpp"

namespace Quarlen::Platform::Tests {

namespace {

struct PipeClose {
    void operator()(FILE* pipe) const noexcept { ::_pclose(pipe); }
};

/// Every byte that this program writes when it runs the tests of that name.
std::string outputOf(const std::wstring& tests) {
    const std::wstring command = L"\"" + executablePath().wstring() +
                                 L"\" --gtest_also_run_disabled_tests --gtest_filter=" + tests;
    const std::unique_ptr<FILE, PipeClose> pipe(::_wpopen(command.c_str(), L"rb"));
    std::string output;
    std::array<char, 4096> part{};
    while (pipe != nullptr) {
        const std::size_t count = std::fread(part.data(), 1, part.size(), pipe.get());
        output.append(part.data(), count);
        if (count == 0) {
            break;
        }
    }
    return output;
}

// Runs in a process of its own, whose standard output nobody has touched.
TEST(StandardConsole, DISABLED_WritesItsLine) {
    standardConsole().line("[\r\n\n Pr\xC3\xBC"
                           "fstand \xF0\x9F\x9A\x97]");
}

TEST(StandardConsole, WritesUtf8ByteForByteWithoutTranslatingLineEnds) {
    EXPECT_THAT(outputOf(L"StandardConsole.DISABLED_WritesItsLine"),
                testing::HasSubstr("[\r\n\n Pr\xC3\xBC"
                                   "fstand \xF0\x9F\x9A\x97]\n"));
}

TEST(StandardConsole, DISABLED_WritesATextWithoutALineEnd) {
    standardConsole().text("[the last words]");
}

TEST(StandardConsole, WritesAtTheEndWhatNobodyHasFlushed) {
    EXPECT_THAT(outputOf(L"StandardConsole.DISABLED_WritesATextWithoutALineEnd"),
                testing::HasSubstr("[the last words]"));
}

} // namespace

} // namespace Quarlen::Platform::Tests
