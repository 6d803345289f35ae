#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <windows.h>

#include <gtest/gtest.h>

#include "platform/SystemError.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// As FormatMessageW has them.
std::wstring wordsOf(DWORD error) {
    std::array<wchar_t, 1024> text{};
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                         0, text.data(), static_cast<DWORD>(text.size()), nullptr);
    return {text.data(), length};
}

std::wstring systemText(int value) {
    return errorText({value, std::system_category()});
}

std::wstring libraryText(int value) {
    return errorText({value, std::generic_category()});
}

TEST(SystemMessage, HasTheSystemsWordsWithoutFullStopAndLineEndAndItsNumber) {
    std::wstring words = wordsOf(ERROR_ACCESS_DENIED);
    ASSERT_TRUE(words.ends_with(L".\r\n"));
    words.resize(words.size() - 3);
    EXPECT_EQ(systemText(ERROR_ACCESS_DENIED), words + L" (5)");
}

// The build's list of tests has one that runs this one as a Russian user.
TEST(SystemMessage, IsInTheLanguageOfTheUser) {
    if (std::getenv("KEL_TEST_RUSSIAN") == nullptr) {
        GTEST_SKIP() << "the user is no Russian";
    }
    const std::wstring told = systemText(ERROR_ACCESS_DENIED);
    EXPECT_TRUE(std::any_of(told.begin(), told.end(), [](wchar_t letter) {
        return letter >= L'\u0430' && letter <= L'\u044F';
    }));
    EXPECT_EQ(libraryText(EACCES), told);
    EXPECT_EQ(exceptionText(std::system_error(ERROR_ACCESS_DENIED, std::system_category(), "a")),
              L"a: " + told);
}

/// As Boost's: the system's numbers, in words of the user's code page.
class SystemCategoryOfALibrary final : public std::error_category {
public:
    [[nodiscard]] const char* name() const noexcept override { return "system"; }
    [[nodiscard]] std::string message(int /*value*/) const override { return "\xC4"; }
};

TEST(SystemMessage, TakesALibrarysSystemCategoryForTheSystem) {
    const SystemCategoryOfALibrary category;
    EXPECT_EQ(errorText({ERROR_ACCESS_DENIED, category}), systemText(ERROR_ACCESS_DENIED));
    EXPECT_EQ(errorText({0x7654321, category}), L"error 124076833");
}

TEST(SystemMessage, IsTheNumberWhereTheSystemHasNoWords) {
    EXPECT_EQ(systemText(0x7654321), L"error 124076833");
}

TEST(SystemMessage, TellsErrorsOfTheCLibraryAsTheSystemsOwn) {
    EXPECT_EQ(libraryText(ENOENT), systemText(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(libraryText(EACCES), systemText(ERROR_ACCESS_DENIED));
    EXPECT_EQ(libraryText(ENOSPC), systemText(ERROR_DISK_FULL));
}

TEST(SystemMessage, HasTheCLibrarysWordsWhereTheSystemKnowsNoSuchError) {
    EXPECT_EQ(libraryText(EDOM), L"Numerical argument out of domain (33)");
}

} // namespace

} // namespace Quarlen::Platform::Tests
