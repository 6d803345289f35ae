#include "platform/SystemError.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// Says the same about every error.
class OneMessage : public std::error_category {
public:
    explicit OneMessage(std::string said) : text(std::move(said)) {}

    [[nodiscard]] const char* name() const noexcept override { return "one message"; }
    [[nodiscard]] std::string message(int /*value*/) const override { return text; }

private:
    std::string text;
};

TEST(SystemError, IsToldWithItsNumber) {
    const OneMessage category("too cold");
    EXPECT_EQ(errorText({42, category}), L"too cold (42)");
}

TEST(SystemError, IsTheNumberWhereThereIsNoText) {
    const OneMessage silent("");
    EXPECT_EQ(errorText({42, silent}), L"error 42");
}

TEST(SystemError, IsTheNumberWhereTheTextCannotBeConverted) {
    const OneMessage garbled("\xFF\xFE");
    EXPECT_EQ(errorText({-7, garbled}), L"error -7");
}

TEST(TextWithCause, HasTheWordsForPeopleInPlaceOfTheLibrarys) {
    const OneMessage category("too cold");
    EXPECT_EQ(textWithCause("cannot fly: too cold [here]", "too cold", {42, category}),
              L"cannot fly: too cold (42) [here]");
}

TEST(TextWithCause, LeavesANameAloneThatHasTheSameWords) {
    const OneMessage category("too cold");
    EXPECT_EQ(textWithCause("cannot open \"too cold\": too cold", "too cold", {42, category}),
              L"cannot open \"too cold\": too cold (42)");
}

TEST(TextWithCause, LosesNothingButWordsThatCannotBeConverted) {
    const OneMessage garbled("\xFF\xFE");
    EXPECT_EQ(textWithCause("cannot fly: \xFF\xFE", "\xFF\xFE", {42, garbled}),
              L"cannot fly: error 42");
}

TEST(TextWithCause, IsTheTextWhereTheWordsAreNotInIt) {
    const OneMessage category("too cold");
    EXPECT_EQ(textWithCause("cannot fly", "too cold", {42, category}), L"cannot fly");
    EXPECT_EQ(textWithCause("\xFF", "too cold", {42, category}), L"too cold (42)");
}

TEST(ExceptionText, TellsTheCauseOfASystemErrorWithItsNumber) {
    const OneMessage category("too cold");
    EXPECT_EQ(exceptionText(std::system_error({42, category}, "cannot fly")),
              L"cannot fly: too cold (42)");
    const OneMessage garbled("\xFF\xFE");
    EXPECT_EQ(exceptionText(std::system_error({42, garbled}, "cannot fly")),
              L"cannot fly: error 42");
}

TEST(ExceptionText, KeepsThePathOfAFileSystemError) {
    const OneMessage category("too cold");
    const std::filesystem::filesystem_error error("cannot fly", u8"\u00FCbung", {42, category});
    EXPECT_EQ(exceptionText(error), L"filesystem error: cannot fly: too cold (42) [\u00FCbung]");
}

TEST(ExceptionText, IsThatOfOtherExceptionsAndNeverEmpty) {
    EXPECT_EQ(exceptionText(std::runtime_error("broken")), L"broken");
    EXPECT_EQ(exceptionText(std::runtime_error("")), L"internal error");
    EXPECT_EQ(exceptionText(std::runtime_error("\xFF")), L"internal error");
}

} // namespace

} // namespace Quarlen::Platform::Tests
