#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/ConfigBase.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TestPaths.hpp"
#include "tools/kelctl/check/FindingFormats.hpp"
#include "tools/kelctl/check/ScriptCheck.hpp"
#include "xml/FileBytes.hpp"

/// What the check refuses against what the server refuses, about scripts that chance has changed.
namespace Quarlen::Ctl::Tests {
namespace {

using Quarlen::Tests::TemporaryFolder;

/// Always the same numbers, on every system.
class Dice {
public:
    std::size_t below(std::size_t count) { return generator() % count; }

private:
    std::mt19937 generator{20261122};
};

std::vector<std::string> exampleTexts() {
    std::vector<std::string> texts;
    for (const char* const name : {"AllActions.xml", "ButtonDemo.xml", "Flash.xml"}) {
        auto& text = texts.emplace_back();
        Xml::readFile(Quarlen::Tests::examplesFolder() / "KelServerScripts" / name, 100'000,
                      [&](std::string_view part) { text += part; });
    }
    return texts;
}

/// Pieces that a script has a use for, well or badly placed.
const std::vector<std::string>& pieces() {
    static const std::vector<std::string> all{"<",
                                              ">",
                                              "/",
                                              "\"",
                                              "&",
                                              "&lt;",
                                              "]]>",
                                              "<Item/>",
                                              " ",
                                              "<!-- x -->",
                                              "enabled=\"no\"",
                                              "\xC3\xBC",
                                              "\xFF",
                                              "<Unlock/>",
                                              "true",
                                              "TRUE",
                                              "<VehicleReport/>",
                                              "resultLed=\" 1 \"",
                                              "\n",
                                              "<![CDATA[x]]>",
                                              "?"};
    return all;
}

void change(std::string& text, Dice& dice) {
    const std::size_t at = dice.below(text.size());
    switch (dice.below(4)) {
    case 0:
        text.erase(at, 1 + dice.below(3));
        break;
    case 1:
        text[at] = static_cast<char>(dice.below(256));
        break;
    case 2:
        text.insert(at, pieces()[dice.below(pieces().size())]);
        break;
    default:
        // A piece of the script itself, so that elements and attributes come twice.
        text.insert(text.find('<', at) == std::string::npos ? at : text.find('<', at),
                    text.substr(dice.below(text.size()), dice.below(60)));
        break;
    }
}

/// In one of the encodings that a script may have, and sometimes in one that it does not say.
std::string encoded(const std::string& text, Dice& dice) {
    constexpr std::string_view inUtf8 = "UTF-8";
    const std::size_t name = text.find(inUtf8);
    const std::size_t way = dice.below(8);
    if (way == 0 && name != std::string::npos) {
        return std::string(text).replace(name, inUtf8.size(), "ISO-8859-1");
    }
    if (way > 2) {
        return text;
    }
    std::string narrow = text;
    if (name != std::string::npos) {
        narrow.replace(name, inUtf8.size(), "UTF-16");
    }
    const bool isLittle = way == 1;
    std::string wide = isLittle ? "\xFF\xFE" : "\xFE\xFF";
    for (const char letter : narrow) {
        wide += isLittle ? std::string{letter, '\0'} : std::string{'\0', letter};
    }
    return wide;
}

/// The message of the server; empty where it loads the file.
std::wstring refusalOfServer(const std::wstring& file) {
    const auto config = Config::createConfigBase();
    (void)config->load(file);
    return config->errorText();
}

/// The same of the check, from the first finding of its kind.
std::wstring refusalOfCheck(const std::wstring& file) {
    for (const Finding& finding : checkScript(Platform::toPath(file), {})) {
        if (finding.rule == "does-not-load") {
            return file + L":" + std::to_wstring(finding.place.line) + L":" +
                   std::to_wstring(finding.place.column) + L": " + finding.text;
        }
    }
    return {};
}

TEST(AgreementWithTheServer, HoldsForScriptsThatChanceHasChanged) {
    const TemporaryFolder folder;
    const auto examples = exampleTexts();
    Dice dice;
    std::size_t refused = 0;
    constexpr std::size_t count = 1000;
    for (std::size_t number = 0; number < count; ++number) {
        std::string text = examples[dice.below(examples.size())];
        for (std::size_t changes = dice.below(3); changes > 0; --changes) {
            change(text, dice);
        }
        text = encoded(text, dice);
        const std::wstring file = Platform::fromPath(folder.write("script.xml", text));

        const std::wstring verdict = refusalOfServer(file);
        EXPECT_EQ(refusalOfCheck(file), verdict) << text;
        refused += verdict.empty() ? 0U : 1U;
    }
    EXPECT_GT(refused, count / 4);
    EXPECT_LT(refused, count * 3 / 4);
}

TEST(AgreementWithTheServer, HoldsForFilesThatAreNoScripts) {
    const TemporaryFolder folder;
    for (const std::string& text :
         {std::string(), std::string("<"), std::string("<Project/>"),
          std::string("<KelServerScript/>"), std::string("\xFF\xFE<\0a\0", 6)}) {
        const std::wstring file = Platform::fromPath(folder.write("script.xml", text));
        EXPECT_EQ(refusalOfCheck(file), refusalOfServer(file)) << text;
    }
}

TEST(ScriptCheck, TellsAllThatTheServerRefuses) {
    const TemporaryFolder folder;
    const std::wstring file = Platform::fromPath(folder.write(
        "script.xml", "<KelServerScript resultLed='no'>\n"
                      "<ExecuteAction enabled='x' command='c'/>\n"
                      "<UnlockAction><Unlock name='u'/><Unlock name='u'/></UnlockAction>\n"
                      "</KelServerScript>"));

    std::vector<std::size_t> lines;
    for (const Finding& finding : checkScript(Platform::toPath(file), {})) {
        if (finding.rule == "does-not-load") {
            lines.push_back(finding.place.line);
        }
    }
    EXPECT_EQ(lines, (std::vector<std::size_t>{1, 2, 3}));
}

TEST(ScriptCheck, TellsNotMoreRefusalsThanAnybodyReads) {
    const TemporaryFolder folder;
    std::string text = "<KelServerScript>";
    for (int number = 0; number < 150; ++number) {
        text += "<ExecuteAction enabled='x' command='c'/>";
    }
    const auto file = folder.write("script.xml", text + "</KelServerScript>");

    const auto findings = checkScript(file, {});
    EXPECT_EQ(std::count_if(findings.begin(), findings.end(),
                            [](const auto& each) { return each.rule == "does-not-load"; }),
              100);
}

TEST(ScriptCheck, TellsOfALimitOnce) {
    const TemporaryFolder folder;
    const std::string item = "<Item>" + std::string(300'000, 'x') + "</Item>";
    const auto file = folder.write("script.xml", "<KelServerScript><FlashingAction>" + item + item +
                                                     item + "</FlashingAction></KelServerScript>");

    const auto findings = checkScript(file, {});
    EXPECT_EQ(std::count_if(findings.begin(), findings.end(),
                            [](const auto& each) { return each.rule == "does-not-load"; }),
              1);
}

TEST(ScriptCheck, ChargesForWhatAttributesNeed) {
    const TemporaryFolder folder;
    std::string element = "<x";
    for (int number = 0; number < 50; ++number) {
        element += " a" + std::to_string(number) + "=''";
    }
    std::string text = "<KelServerScript>";
    for (int number = 0; number < 20'000; ++number) {
        text += element + "/>";
    }
    const auto file = folder.write("script.xml", text + "</KelServerScript>");

    const auto findings = checkScript(file, {});
    ASSERT_FALSE(findings.empty());
    EXPECT_EQ(findings.front().text, L"the file is too large to be checked");
}

TEST(ScriptCheck, GivesUpOnAFileThatTheServerLoadsAndThatIsTooLargeForIt) {
    const TemporaryFolder folder;
    std::string text = "<KelServerScript><FlashingAction>" + std::string(55U << 20U, 'x');
    for (int number = 0; number < 80'000; ++number) {
        text += "<x/>";
    }
    const auto file = Platform::fromPath(
        folder.write("script.xml", text + "</FlashingAction></KelServerScript>"));

    EXPECT_EQ(refusalOfServer(file), L"");
    const auto findings = checkScript(Platform::toPath(file), {});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings.front().rule, "cannot-read");
    EXPECT_EQ(findings.front().text, L"the file is too large to be checked");
}

} // namespace
} // namespace Quarlen::Ctl::Tests
