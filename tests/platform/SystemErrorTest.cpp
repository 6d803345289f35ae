#include "platform/SystemError.hpp"

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

} // namespace

TEST(SystemError, IsToldInTheSystemsWords) {
    const auto error = std::make_error_code(std::errc::permission_denied);
    EXPECT_FALSE(errorText(error).empty());
    EXPECT_EQ(errorText(error), fromUtf8(error.message()));
}

TEST(SystemError, IsTheNumberWhereThereIsNoText) {
    const OneMessage silent("");
    EXPECT_EQ(errorText({42, silent}), L"error 42");
}

TEST(SystemError, IsTheNumberWhereTheTextCannotBeConverted) {
    const OneMessage garbled("\xFF\xFE");
    EXPECT_EQ(errorText({-7, garbled}), L"error -7");
}

} // namespace Quarlen::Platform::Tests
