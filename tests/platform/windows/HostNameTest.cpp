#include "platform/windows/HostName.hpp"

#include <algorithm>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

HostNameQuery giving(const std::wstring& text) {
    return [text](std::span<wchar_t> name) {
        std::copy_n(text.c_str(), std::min(text.size() + 1, name.size()), name.begin());
        return true;
    };
}

const HostNameQuery failing = [](std::span<wchar_t>) { return false; };

TEST(HostName, KeepsTheLettersOfOtherLanguages) {
    EXPECT_EQ(hostNameFrom(giving(L"PR\u00DCFSTAND-\u0416"), failing), L"PR\u00DCFSTAND-\u0416");
}

TEST(HostName, IsTheComputersWhereTheSocketLibraryHasNone) {
    EXPECT_EQ(hostNameFrom({}, giving(L"PR\u00DCFSTAND")), L"PR\u00DCFSTAND");
    EXPECT_EQ(hostNameFrom(failing, giving(L"PR\u00DCFSTAND")), L"PR\u00DCFSTAND");
}

TEST(HostName, IsEmptyWhereNobodyGivesIt) {
    EXPECT_EQ(hostNameFrom({}, failing), L"");
}

TEST(HostName, IsCutToWhatFits) {
    EXPECT_EQ(hostNameFrom(giving(std::wstring(80, L'x')), failing), std::wstring(63, L'x'));
}

} // namespace

} // namespace Quarlen::Platform::Tests
