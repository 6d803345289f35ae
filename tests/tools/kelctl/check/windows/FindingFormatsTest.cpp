#include "tools/kelctl/check/FindingFormats.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Ctl::Tests {
namespace {

struct Address {
    const wchar_t* file;
    const char* uri;
};

void PrintTo(const Address& address, std::ostream* out) {
    *out << address.uri;
}

class SarifAddressOnWindows : public testing::TestWithParam<Address> {};

TEST_P(SarifAddressOnWindows, NamesTheShareOrTheDrive) {
    Finding finding;
    finding.rule = "missing-file";
    finding.file = GetParam().file;

    EXPECT_THAT(sarifOf({finding}),
                testing::HasSubstr(R"("uri":")" + std::string(GetParam().uri) + '"'));
}

INSTANTIATE_TEST_SUITE_P(EveryKind, SarifAddressOnWindows,
                         testing::Values(Address{LR"(\\srv\share\x)", "file://srv/share/x"},
                                         Address{LR"(\\srv\share\a b\#.xml)",
                                                 "file://srv/share/a%20b/%23.xml"},
                                         Address{LR"(\\?\UNC\srv\share\x)", "file://srv/share/x"},
                                         Address{LR"(C:\a b.xml)", "file:///C:/a%20b.xml"},
                                         Address{LR"(\\?\C:\a.xml)", "file:///C:/a.xml"},
                                         Address{LR"(config\a.xml)", "config/a.xml"}));

} // namespace
} // namespace Quarlen::Ctl::Tests
