#include <array>
#include <cstdint>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "xml/Parser.hpp"

/// The parser's verdicts against those of a library that it does not use, about generated
/// documents.
namespace Xml::Tests {
namespace {

/// Always the same numbers, on every system: nothing here throws twice in one expression, whose
/// order a compiler may choose.
class Dice {
public:
    explicit Dice(std::uint32_t seed) : generator(seed) {}

    std::size_t below(std::size_t count) { return generator() % count; }

    template <std::size_t count>
    std::string pick(const std::array<const char*, count>& from) {
        return from[below(count)];
    }

private:
    std::mt19937 generator;
};

constexpr std::array<const char*, 12> names{"a",      "b",   "Item",     "_x", "x-1", "y.z",
                                            "xmlish", "n:m", "\xC3\xBC", "a1", "A",   "Name"};
constexpr std::array<const char*, 14> texts{
    "",      "text",   " ",         "\n",           "\t",   "&lt;",     "&amp;",
    "&#65;", "&#x20;", "&#x1F697;", "\xE6\xB8\xAC", "]] >", "\xC2\x85", "a > b"};
constexpr std::array<const char*, 8> others{"<!-- c -->",     "<?pi data?>", "<![CDATA[ <&]] ]]>",
                                            "<?p?>",          "<!---->",     "<![CDATA[]]>",
                                            "<!-- <a> & -->", "\r\n"};
constexpr std::array<const char*, 9> prologs{
    "",
    "<?xml version='1.0'?>",
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n",
    "<?xml version='1.0' standalone='yes' ?>",
    "<?xml version='1.0' encoding='utf-8' standalone='no'?>",
    "<!-- c -->\n",
    "<!DOCTYPE a>",
    "<!DOCTYPE a [<!-- c --><?p d?>]>",
    "\xEF\xBB\xBF"};

std::string element(Dice& dice, int depth);

std::string attributes(Dice& dice) {
    std::string text;
    for (std::size_t count = dice.below(3); count > 0; --count) {
        const std::string quote = dice.below(2) == 0 ? "'" : "\"";
        text += " k" + std::to_string(count) + "=" + quote + dice.pick(texts) + quote;
    }
    return text;
}

std::string content(Dice& dice, int depth) {
    std::string text;
    for (std::size_t count = dice.below(4); count > 0; --count) {
        const auto kind = dice.below(4);
        text += kind == 0                ? dice.pick(others)
                : kind == 1 && depth > 0 ? element(dice, depth - 1)
                                         : dice.pick(texts);
    }
    return text;
}

std::string element(Dice& dice, int depth) {
    const std::string name = dice.pick(names);
    const std::string begin = "<" + name + attributes(dice);
    if (dice.below(4) == 0) {
        return begin + "/>";
    }
    return begin + ">" + content(dice, depth) + "</" + name + ">";
}

std::string document(Dice& dice) {
    std::string text = dice.pick(prologs);
    text += element(dice, 3);
    text += dice.below(3) == 0 ? "\n<!-- end -->" : "";
    return text;
}

/// What is typed wrong, and what a hostile file holds.
constexpr std::array<const char*, 44> faults{"&",
                                             "<",
                                             ">",
                                             "\"",
                                             "'",
                                             "--",
                                             "]]>",
                                             "&foo;",
                                             "&#0;",
                                             "&#x1F;",
                                             "&#xD800;",
                                             "&#xFFFE;",
                                             "&#x110000;",
                                             "&#;",
                                             "&#x;",
                                             "&#xg;",
                                             "&lt",
                                             "& ",
                                             "<?xml version='1.0'?>",
                                             "<?xml?>",
                                             "<?XML x?>",
                                             "<?xml-style?>",
                                             "<!--",
                                             "-->",
                                             "<![CDATA[",
                                             "<!",
                                             "<?",
                                             "?>",
                                             "</a>",
                                             "<a>",
                                             "/>",
                                             " k1='2'",
                                             "=",
                                             "\x01",
                                             "\x7F",
                                             "\xFF",
                                             "\xC0\x80",
                                             "\xED\xA0\x80",
                                             "\xEF\xBF\xBE",
                                             "\xF4\x90\x80\x80",
                                             " ",
                                             "1",
                                             "encoding='UTF-8'",
                                             "<!DOCTYPE a>"};

std::string mutated(Dice& dice, std::string text) {
    for (std::size_t count = 1 + dice.below(2); count > 0; --count) {
        const auto at = dice.below(text.size() + 1);
        switch (dice.below(4)) {
        case 0:
            text.erase(at, 1 + dice.below(3));
            break;
        case 1: {
            const auto from = dice.below(text.size() + 1);
            text.insert(at, text.substr(from, 1 + dice.below(8)));
            break;
        }
        case 2:
            text.resize(at);
            break;
        default:
            text.insert(at, dice.pick(faults));
        }
    }
    return text;
}

bool isTaken(std::string_view text) {
    try {
        checkWellFormed(text, {});
        return true;
    } catch (const Fault&) {
        return false;
    }
}

/// What the other library takes and the standard does not: no blank behind "<!DOCTYPE" or before
/// "standalone" (production 32), declarations behind the document type's ">" (28), a version
/// without its second number (26); and an encoding that it does not know but does not need (4.3.3).
bool isTakenWrongly(const std::string& text) {
    static const std::regex lenient(
        R"(<!DOCTYPE([^ \t\r\n]|[^\[>]*>\s*\[)|version=["']1\.["']|["']standalone=|)"
        R"(encoding=["'](?!(utf-8|utf-16|iso-8859-1|us-ascii)["']))",
        std::regex::icase);
    return std::regex_search(text, lenient);
}

struct FreeContext {
    void operator()(xmlParserCtxt* context) const {
        if (context->myDoc != nullptr) {
            xmlFreeDoc(context->myDoc);
        }
        xmlFreeParserCtxt(context);
    }
};

bool isWellFormed(const std::string& text) {
    const std::unique_ptr<xmlParserCtxt, FreeContext> context(
        xmlCreateMemoryParserCtxt(text.data(), static_cast<int>(text.size())));
    if (!context) {
        return false;
    }
    xmlCtxtUseOptions(context.get(), XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    xmlParseDocument(context.get());
    return context->wellFormed == 1;
}

TEST(WellFormedness, OfGeneratedDocumentsIsSeenByBoth) {
    Dice dice(1);
    for (int number = 0; number < 3'000; ++number) {
        const std::string text = document(dice);
        EXPECT_TRUE(isTaken(text)) << text;
        EXPECT_TRUE(isWellFormed(text)) << text;
    }
}

TEST(WellFormedness, OfMutatedDocumentsIsJudgedAlike) {
    Dice dice(2);
    int taken = 0;
    for (int number = 0; number < 20'000; ++number) {
        const std::string text = mutated(dice, document(dice));
        const bool verdict = isTaken(text);
        taken += verdict ? 1 : 0;
        if (verdict || !isTakenWrongly(text)) {
            EXPECT_EQ(verdict, isWellFormed(text)) << text;
        }
    }
    EXPECT_GT(taken, 1'000);
}

} // namespace
} // namespace Xml::Tests
