#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "kel_cpp/settings/SettingsReader.hpp"
#include "platform/TextEncoding.hpp"
#include "xml/Editor.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

constexpr std::string_view whole =
    "\xEF\xBB\xBF<?xml version='1.0'?>\n<!DOCTYPE KelServer>\n<!-- <a> -->\n<KelServer>\n"
    "  <BrokerUrl>x&amp;&#65;<!-- > --><![CDATA[</BrokerUrl>]]></BrokerUrl>\n"
    "  <Tracing enabled=\"false\" level = '3' />\n"
    "  <Interfaces><Group name='a&gt;>b'><Interface name='S'/></Group></Interfaces>\n"
    "</KelServer>\n";

/// Whether the text is read as a configuration. A text that is must also take an edit, and the edit
/// must be read back.
bool isReadAndEdited(const std::string& text) {
    try {
        Xml::Editor editor("KelServer.xml", text, SettingsReader::rootElement,
                           SettingsReader::limits);
        (void)SettingsReader::read(editor.file(), "/folder");
        editor.setAttribute({{"Tracing"}}, "enabled", L"true");
        editor.setText({{"BrokerUrl"}}, L"new <url>");
        editor.setText({{"Paths"}, {"Projects"}}, L"/p");
        const auto settings = SettingsReader::read(editor.file(), "/folder");
        EXPECT_TRUE(settings.paths.tracing) << text;
        EXPECT_EQ(settings.serverSettings.brokerUrl, L"new <url>") << text;
        EXPECT_EQ(Platform::toPath(settings.paths.projectsPath), Platform::toPath(L"/p")) << text;
        return true;
    } catch (const Xml::FileError& exception) {
        EXPECT_EQ(exception.message().rfind(L"KelServer.xml:", 0), 0U) << text;
        return false;
    }
}

TEST(MutatedSettings, IsRefusedWhenItsEndIsCutOff) {
    for (std::size_t length = 0; length < whole.size() - 1; ++length)
        EXPECT_FALSE(isReadAndEdited(std::string(whole.substr(0, length)))) << length;
    EXPECT_TRUE(isReadAndEdited(std::string(whole)));
}

class MutatedByOneByte : public testing::TestWithParam<char> {};

TEST_P(MutatedByOneByte, IsRefusedOrStillCanBeEdited) {
    int refused = 0;
    for (std::size_t offset = 0; offset < whole.size(); ++offset) {
        std::string text(whole);
        text[offset] = GetParam();
        refused += isReadAndEdited(text) ? 0 : 1;
    }

    EXPECT_GT(refused, 50);
}

INSTANTIATE_TEST_SUITE_P(Bytes, MutatedByOneByte,
                         testing::Values('<', '>', '&', '"', '\'', '/', ' ', '!', '-', '?', ']',
                                         ';', '=', '\n', '\0', '\xFF'));

TEST(MutatedSettings, IsRefusedOrStillCanBeEditedWithoutOneByte) {
    int refused = 0;
    for (std::size_t offset = 0; offset < whole.size(); ++offset)
        refused += isReadAndEdited(std::string(whole).erase(offset, 1)) ? 0 : 1;

    EXPECT_GT(refused, 50);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
