#include "xml/Parser.hpp"

#include <ostream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace Xml::Tests {
namespace {

using namespace std::string_literals;

/// Writes down what it is told: "(a x=1 text )".
class Recorder : public Receiver {
public:
    void begin(std::string_view element, const Attributes& attributes) override {
        log += "(" + std::string(element) + " ";
        if (const auto value = attributes.find("x")) {
            log += "x=" + std::string(*value) + " ";
        }
    }
    void end() override { log += ")"; }
    void text(std::string_view part) override { log += part; }

    std::string log;
};

std::string eventsOf(std::string_view bytes, std::size_t part = std::string::npos) {
    Recorder recorder;
    Parser parser(recorder, {});
    while (!bytes.empty()) {
        const auto now = bytes.substr(0, part);
        parser.feed(now);
        bytes.remove_prefix(now.size());
    }
    parser.finish();
    return recorder.log;
}

struct Refusal {
    std::wstring cause;
    Place place;
};

Refusal refusalOf(std::string_view bytes, const Limits& limits = {.depth = 256}) {
    try {
        checkWellFormed(bytes, limits);
    } catch (const Fault& fault) {
        return {fault.cause(), fault.place()};
    }
    return {};
}

std::string utf16(std::u16string_view text, bool bigEndian) {
    std::string bytes;
    for (const char16_t unit : text) {
        const char high = static_cast<char>(static_cast<signed char>(unit >> 8U));
        const char low = static_cast<char>(static_cast<signed char>(unit & 0xFFU));
        bytes += bigEndian ? std::string{high, low} : std::string{low, high};
    }
    return bytes;
}

TEST(XmlParser, TellsElementsAttributesAndTextsInTheirOrder) {
    EXPECT_EQ(
        eventsOf("<?xml version='1.0'?><!-- c --><a x='1' y='2'>b<?pi x?><c/>&lt;<![CDATA[<&]]>"
                 "</a>\n"),
        "(a x=1 b(c )<<&)");
}

TEST(XmlParser, TellsTheSameWhateverPartsItIsFedWith) {
    const std::string bytes =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding='UTF-8'?>\n<a x='\xC3\xBC&amp;'>"
        "\xE6\xB8\xAC<b x=\"2\"/><![CDATA[]]]]><!-- - --></a>";

    for (std::size_t part = 1; part < bytes.size(); ++part) {
        EXPECT_EQ(eventsOf(bytes, part), eventsOf(bytes)) << part;
    }
}

TEST(XmlParser, NormalizesAttributesAndLineEnds) {
    EXPECT_EQ(eventsOf("<a x='1\t2\r\n3&#9;4'>5\r\n6\r7</a>"), "(a x=1 2 3\t4 5\n6\n7)");
}

TEST(XmlParser, DecodesUtf16OfBothByteOrders) {
    const std::u16string text = u"<a x='\u00FC'>\u6E2C\U0001F697</a>";
    const std::string expected = "(a x=\xC3\xBC \xE6\xB8\xAC\xF0\x9F\x9A\x97)";

    EXPECT_EQ(eventsOf("\xFE\xFF" + utf16(text, true)), expected);
    EXPECT_EQ(eventsOf("\xFF\xFE" + utf16(text, false), 3), expected);
    EXPECT_EQ(eventsOf("\xFF\xFE" + utf16(u"<?xml version='1.0' encoding='UTF-16'?><a/>", false)),
              "(a )");
}

TEST(XmlParser, HonoursADeclaredEncoding) {
    EXPECT_EQ(eventsOf("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xFC</a>"), "(a \xC3\xBC)");
    EXPECT_EQ(eventsOf("<?xml version='1.0' encoding='iso-8859-1'?><a>\xFC</a>"), "(a \xC3\xBC)");
    EXPECT_EQ(eventsOf("<?xml version='1.0' encoding='US-ASCII'?><a>x</a>"), "(a x)");
    EXPECT_EQ(eventsOf("\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><a>\xC3\xBC</a>"),
              "(a \xC3\xBC)");
}

TEST(XmlParser, PassesOverADocumentType) {
    EXPECT_EQ(eventsOf("<!DOCTYPE a><a/>"), "(a )");
    EXPECT_EQ(eventsOf("<!DOCTYPE a [<!ELEMENT a ANY><!NOTATION n PUBLIC 'p'><!-- c -->]><a/>"),
              "(a )");
}

struct Malformed {
    const char* subject;
    std::string text;
    std::size_t offset;
    const wchar_t* cause;
};

void PrintTo(const Malformed& malformed, std::ostream* out) {
    *out << malformed.text;
}

class MalformedText : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedText, IsRefusedInItsPlace) {
    const auto refusal = refusalOf(GetParam().text);

    EXPECT_EQ(refusal.cause, GetParam().cause);
    EXPECT_EQ(refusal.place.offset, GetParam().offset);
}

constexpr const wchar_t* bareAmpersand = L"a \"&\" that begins no reference, expected \"&amp;\"";
constexpr const wchar_t* wrongAngle = L"a \"<\" in the wrong place, expected \"&lt;\" in a text";
constexpr const wchar_t* badReference = L"reference to invalid character number";
constexpr const wchar_t* noText =
    L"no text in the file's encoding, or a character that cannot stand here";
constexpr const wchar_t* notWellFormed = L"not well-formed";
constexpr const wchar_t* control = L"a control character that XML does not allow";
constexpr const wchar_t* entity = L"entity declarations are not supported";
constexpr const wchar_t* outside = L"a document type outside of the file is not supported";

INSTANTIATE_TEST_SUITE_P(
    XmlParser, MalformedText,
    testing::Values(
        Malformed{"Nothing", "", 0, L"no element found"},
        Malformed{"NoElement", "<!-- only -->", 13, L"no element found"},
        Malformed{"OnlyText", "text", 0, L"syntax error"},
        Malformed{"WrongEndTag", "<a><b></a>", 8, L"mismatched tag \"</a>\", expected \"</b>\""},
        Malformed{"WrongEndTagAfterAClosedElement", "<a><b/><c></c></x>", 16,
                  L"mismatched tag \"</x>\", expected \"</a>\""},
        Malformed{"MissingEndTag", "<a><b></b>", 10, L"the file ends too early, expected \"</a>\""},
        Malformed{"SecondRoot", "<a/><b/>", 4, L"junk after document element"},
        Malformed{"TextBehindTheRoot", "<a/>text", 4, L"junk after document element"},
        Malformed{"UnclosedTag", "<a><b", 3, L"unclosed token \"<b\""},
        Malformed{"UnclosedComment", "<a><!-- </a>", 3, L"unclosed token \"<!--\""},
        Malformed{"UnquotedValue", "<a b=c/>", 5, notWellFormed},
        Malformed{"AttributeTwice", "<a><b c='' d='' c=''/></a>", 16, L"duplicate attribute \"c\""},
        Malformed{"NoBlankBetweenAttributes", "<a b=''c=''/>", 7, notWellFormed},
        Malformed{"ReferenceToNull", "<a>&#0;</a>", 3, badReference},
        Malformed{"ReferenceToNullInAnAttribute", "<a x='b&#0;c'/>", 7, badReference},
        Malformed{"ReferenceToAControlCharacter", "<a>&#x1F;</a>", 3, badReference},
        Malformed{"ReferenceToASurrogate", "<a>&#xD800;</a>", 3, badReference},
        Malformed{"ReferenceToNoCharacter", "<a>&#xFFFE;</a>", 3, badReference},
        Malformed{"ReferenceBeyondUnicode", "<a>&#x110000;</a>", 3, badReference},
        Malformed{"HugeReference", "<a>&#99999999999999999999;</a>", 3, badReference},
        Malformed{"BareAmpersand", "<a>x & y</a>", 6, bareAmpersand},
        Malformed{"BareAmpersandInAnAttribute", "<a x='1&2'/>", 8, bareAmpersand},
        Malformed{"AngleInAnAttribute", "<a x='1<2'/>", 7, wrongAngle},
        Malformed{"UndeclaredEntity", "<a>&foo;</a>", 3, L"undefined entity \"&foo;\""},
        Malformed{"UndeclaredEntityInAnAttribute", "<a x='&lt;&#65;&foo;&bar;'/>", 0,
                  L"undefined entity \"&foo;\""},
        Malformed{"DashesInAComment", "<a><!-- -- --></a>", 10, notWellFormed},
        Malformed{"EndOfCdataInAText", "<a>x]]>y</a>", 6, notWellFormed},
        Malformed{"DeclarationBehindABlank", " <?xml version='1.0'?><a/>", 1,
                  L"XML or text declaration not at start of entity"},
        Malformed{"SecondDeclaration", "<?xml version='1.0'?><?xml version='1.0'?><a/>", 21,
                  L"XML or text declaration not at start of entity"},
        Malformed{"DeclarationWithoutVersion", "<?xml encoding='utf-8'?><a/>", 6,
                  L"XML declaration not well-formed"},
        Malformed{"DeclarationOfAnotherVersion", "<?xml version='2.0'?><a/>", 0,
                  L"the declared version is none of XML 1"},
        Malformed{"DeclarationOfAVersionThatIsNone", "<?xml version='1.'?><a/>", 0,
                  L"the declared version is none of XML 1"},
        Malformed{"UnclosedDeclaration", "<?xml version='1.0'><a/>", 0,
                  L"unclosed token \"<?xml\""},
        Malformed{"ReservedTarget", "<a><?XML x?></a>", 8, notWellFormed},
        Malformed{"UnknownEncoding", "<?xml version='1.0' encoding='EBCDIC'?><a/>", 30,
                  L"unknown encoding"},
        Malformed{"EncodingOfWiderCharacters", "<?xml version='1.0' encoding='UTF-16'?><a/>", 30,
                  L"encoding specified in XML declaration is incorrect"},
        Malformed{"EncodingAgainstTheByteOrderMark",
                  "\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?><a/>", 3,
                  L"the declared encoding is \"ISO-8859-1\", expected UTF-8"},
        Malformed{"AsciiAgainstTheByteOrderMark",
                  "\xEF\xBB\xBF<?xml version='1.0' encoding='US-ASCII'?><a/>", 3,
                  L"the declared encoding is \"US-ASCII\", expected UTF-8"},
        Malformed{"BytesThatAreNoAscii", "<?xml version='1.0' encoding='US-ASCII'?><a>\xC3\xBC</a>",
                  44, noText},
        Malformed{"OverlongCharacter", "<a>\xC0\xAF</a>", 3, noText},
        Malformed{"SurrogateInUtf8", "<a>\xED\xA0\x80</a>", 3, noText},
        Malformed{"CutCharacter", "<a>\xC3</a>", 3, noText},
        Malformed{"ControlCharacter", "<a>\x1B</a>", 3, control},
        Malformed{"NullCharacter", "<a>\0</a>"s, 3, notWellFormed},
        Malformed{"LoneSurrogateInUtf16", "\xFE\xFF" + utf16({u"<a>\xDC00</a>", 8}, true), 8,
                  noText},
        Malformed{"EntityDeclaration", "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>", 24, entity},
        Malformed{"ExternalEntity", "<!DOCTYPE a [<!ENTITY e SYSTEM 'f'>]><a/>", 34, entity},
        Malformed{"ParameterEntity", "<!DOCTYPE a [<!ENTITY % e 'x'>]><a/>", 26, entity},
        Malformed{"AttributeDeclaration", "<!DOCTYPE a [<!ATTLIST a x CDATA 'd'>]><a/>", 33,
                  L"attribute declarations are not supported"},
        Malformed{"ExternalDocumentType", "<!DOCTYPE a SYSTEM 'a.dtd'><a>&e;</a>", 26, outside},
        Malformed{"PublicDocumentType", "<!DOCTYPE a PUBLIC 'p' 'a.dtd' []><a/>", 31, outside},
        Malformed{"ExternalDocumentTypeOfAStandaloneFile",
                  "<?xml version='1.0' standalone='yes'?><!DOCTYPE a SYSTEM 'a.dtd'><a/>", 64,
                  outside}),
    [](const auto& test) { return test.param.subject; });

TEST(XmlParser, DoesNotTakeAnInstructionForADeclaration) {
    EXPECT_EQ(eventsOf("<?xml-stylesheet encoding='EBCDIC'?><a/>"), "(a )");
}

TEST(XmlParser, CountsLinesAndCharactersFromOne) {
    const auto place = refusalOf("<a>\r\n\xC3\xBC\xE6\xB8\xAC<!-- -- --></a>").place;

    EXPECT_EQ(place.line, 2U);
    EXPECT_EQ(place.column, 10U);
    EXPECT_EQ(refusalOf("").place.line, 1U);
    EXPECT_EQ(refusalOf("").place.column, 1U);
}

TEST(XmlParser, TakesOnlyUtf8WhereItIsToldSo) {
    const Limits utf8{.onlyUtf8 = true};
    const auto declared = [](const std::string& encoding) {
        return "<?xml version='1.0' encoding='" + encoding + "'?><a/>";
    };

    EXPECT_EQ(refusalOf(declared("UTF-8"), utf8).cause, L"");
    EXPECT_EQ(refusalOf(declared("us-ascii"), utf8).cause, L"");
    EXPECT_EQ(refusalOf("<?xml version='1.0'?><a/>", utf8).cause, L"");
    EXPECT_EQ(refusalOf(declared("ISO-8859-1"), utf8).cause,
              L"the declared encoding is \"ISO-8859-1\", expected UTF-8");
}

std::string nested(std::size_t depth) {
    std::string text;
    for (std::size_t level = 0; level < depth; ++level) {
        text += "<a>";
    }
    for (std::size_t level = 0; level < depth; ++level) {
        text += "</a>";
    }
    return text;
}

TEST(XmlParser, TakesElementsUpToTheGreatestDepth) {
    const std::string siblings = "<a/><a><b/></a>";

    EXPECT_EQ(refusalOf(nested(256)).cause, L"");
    EXPECT_EQ(refusalOf(nested(257)).cause, L"more than 256 elements inside each other");
    EXPECT_EQ(refusalOf(nested(257)).place.offset, 256U * 3);
    EXPECT_EQ(refusalOf("<r>" + siblings + nested(255) + siblings + "</r>").cause, L"");
    EXPECT_EQ(refusalOf(nested(4), {.depth = 3}).cause, L"more than 3 elements inside each other");
}

TEST(XmlParser, NamesWhatItFoundInWhateverPartsItIsFedWith) {
    const auto causeInParts = [](std::string_view bytes) {
        Receiver nobody;
        Parser parser(nobody, {});
        try {
            for (const char& byte : bytes) {
                parser.feed({&byte, 1});
            }
            parser.finish();
        } catch (const Fault& fault) {
            return fault.cause();
        }
        return std::wstring();
    };

    for (const auto* const bytes : {"<a><b></a>", "<a><b c='' d='' c=''/></a>", "<a x='&foo;'/>",
                                    "<a><!-- </a>", "<a>x & y</a>", "<a>&foo;</a>"}) {
        EXPECT_EQ(causeInParts(bytes), refusalOf(bytes).cause) << bytes;
    }
}

TEST(XmlParser, CutsALongNameThatItFound) {
    const std::string name(61, 'b');

    EXPECT_EQ(refusalOf("<a></" + name + ">").cause,
              L"mismatched tag \"</" + std::wstring(60, L'b') + L"...>\", expected \"</a>\"");
    EXPECT_EQ(refusalOf("<a>&" + name + ";</a>").cause,
              L"undefined entity \"&" + std::wstring(59, L'b') + L"...\"");
}

TEST(XmlParser, NamesNothingThatIsNoUtf8) {
    const std::string latin = "<?xml version='1.0' encoding='ISO-8859-1'?>";
    EXPECT_EQ(refusalOf(latin + "<a></\xFC>").cause, L"mismatched tag, expected \"</a>\"");
    EXPECT_EQ(refusalOf(latin + "<a></b>").cause, L"mismatched tag \"</b>\", expected \"</a>\"");
    EXPECT_EQ(refusalOf("\xFF\xFE" + utf16(u"<a></b>", false)).cause,
              L"mismatched tag, expected \"</a>\"");
    EXPECT_EQ(refusalOf("\xFE\xFF" + utf16(u"<a>&foo;</a>", true)).cause, L"undefined entity");
}

TEST(XmlParser, BoundsTheElementsOfAFile) {
    EXPECT_EQ(refusalOf("<a><b/><b/></a>", {.tags = 3}).cause, L"");
    EXPECT_EQ(refusalOf("<a><b/><b/></a>", {.tags = 2}).cause, L"more than 2 elements");
    EXPECT_EQ(refusalOf("<a><b/><b/></a>", {.tags = 2}).place.offset, 7U);
}

TEST(XmlParser, BoundsTheAttributesOfAnElement) {
    EXPECT_EQ(refusalOf("<a b='' c=''><d b=''/></a>", {.attributes = 2}).cause, L"");
    EXPECT_EQ(refusalOf("<a><d b='' c=''/></a>", {.attributes = 1}).cause,
              L"more than 1 attributes of \"d\"");
    EXPECT_EQ(refusalOf("<a><d b='' c=''/></a>", {.attributes = 1}).place.offset, 3U);
}

TEST(XmlParser, BoundsTheSizeOfOnePieceOfMarkup) {
    Receiver nobody;
    constexpr std::size_t maxMarkup = 1024 * 1024;
    const auto feed = [&](const std::string& begin, std::size_t size) {
        Parser parser(nobody, {.markup = maxMarkup});
        parser.feed("<a>");
        parser.feed(begin + std::string(size / 2 - begin.size(), 'x'));
        parser.feed(std::string(size - size / 2, 'x'));
    };

    for (const char* const markup : {"<!--", "<b c='", "<", "<?"}) {
        EXPECT_NO_THROW(feed(markup, maxMarkup)) << markup;
        EXPECT_THROW(feed(markup, maxMarkup + 1), Fault) << markup;
    }
    EXPECT_NO_THROW(feed("text", 8 * maxMarkup));
    EXPECT_NO_THROW(feed("<![CDATA[", 8 * maxMarkup));
}

TEST(XmlParser, BoundsItsMemoryWhateverNamesAFileHas) {
    std::string text = "<a>";
    for (int number = 0; number < 100'000; ++number) {
        text += "<n" + std::to_string(number) + "/>";
    }
    text += "</a>";

    EXPECT_EQ(refusalOf(text, {.memory = 4 * 1024 * 1024}).cause,
              L"it would need more than 4 MiB of memory");
    EXPECT_EQ(refusalOf(text).cause, L"");
}

class Thrower : public Receiver {
public:
    void begin(std::string_view element, const Attributes& /*attributes*/) override {
        ++begun;
        if (element == "fault") {
            throw Fault(L"as told");
        }
        if (element == "error") {
            throw std::runtime_error("as told");
        }
    }
    void end() override { ++ended; }

    int begun = 0;
    int ended = 0;
};

TEST(XmlParser, LetsAReceiversFaultOutWithThePlaceOfItsEvent) {
    Thrower thrower;
    Parser parser(thrower, {});

    try {
        parser.feed("<a>\n <fault/><fault/></a>");
        FAIL() << "was taken";
    } catch (const Fault& fault) {
        EXPECT_EQ(fault.cause(), L"as told");
        EXPECT_EQ(fault.place().offset, 5U);
        EXPECT_EQ(fault.place().line, 2U);
        EXPECT_EQ(fault.place().column, 2U);
    }
    EXPECT_EQ(thrower.begun, 2);
    EXPECT_EQ(thrower.ended, 0);
}

TEST(XmlParser, LetsWhatElseAReceiverThrowsOutAsItIs) {
    Thrower thrower;
    Parser parser(thrower, {});

    EXPECT_THROW(parser.feed("<error/>"), std::runtime_error);
}

} // namespace
} // namespace Xml::Tests
