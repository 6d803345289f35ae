#include "kel_server/HardwareTypeText.hpp"

#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

namespace Quarlen::Tests {

namespace {

class HardwareTypeText : public testing::TestWithParam<std::pair<std::int32_t, std::wstring>> {};

TEST_P(HardwareTypeText, NamesTheValue) {
    const auto& [value, text] = GetParam();

    EXPECT_EQ(hardwareTypeText(static_cast<Kel_cpp::HardwareType>(value)), text);
}

const std::wstring invalid = L"Invalid \"HardwareType\" value -- conversion not possible";

INSTANTIATE_TEST_SUITE_P(Values, HardwareTypeText,
                         testing::Values(std::pair{0, L"Unknown"}, std::pair{1, L"Ostrel2000"},
                                         std::pair{10, L"ZRA"}, std::pair{100, L"Raspberry"},
                                         std::pair{256, L"Linux"}, std::pair{257, L"Windows"},
                                         std::pair{258, L"IOS"}, std::pair{259, L"Android"},
                                         std::pair{5, invalid}, std::pair{-1, invalid},
                                         std::pair{260, invalid}));

} // namespace

} // namespace Quarlen::Tests
