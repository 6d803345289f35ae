#include "tools/kelctl/check/FindingFormats.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Ctl::Tests {
namespace {

using testing::HasSubstr;

std::string sarifAbout(const std::wstring& file) {
    Finding finding;
    finding.rule = "missing-file";
    finding.file = file;
    return sarifOf({finding});
}

TEST(SarifAddress, OfARelativeNameIsRelative) {
    EXPECT_THAT(sarifAbout(L"config/a b\u00E4.xml"),
                HasSubstr(R"("uri":"config/a%20b%C3%A4.xml")"));
}

TEST(SarifAddress, OfAShareNamesItsServerAsTheHost) {
    // Only Windows knows shares: elsewhere further slashes at the beginning count for nothing.
    const bool hasShares = std::filesystem::path::preferred_separator != '/';
    EXPECT_THAT(sarifAbout(L"//srv/share/a b,\u00E4.xml"),
                HasSubstr(hasShares ? R"("uri":"file://srv/share/a%20b,%C3%A4.xml")"
                                    : R"("uri":"file:///srv/share/a%20b,%C3%A4.xml")"));
}

} // namespace
} // namespace Quarlen::Ctl::Tests
