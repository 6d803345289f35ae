#include "config/XmlTree.hpp"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "config/FileError.hpp"
#include "tests/config/ParseScript.hpp"

namespace Config::Tests {
namespace {

std::wstring causeOf(const std::string& text) {
    return causeOfFault([&] { const XmlTree tree(text); });
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

TEST(XmlTree, FindsTheRootBehindDeclarationCommentAndDocumentType) {
    const XmlTree tree("<?xml version='1.0'?>\n<!-- c -->\n<!DOCTYPE a [<!ENTITY e 'x'>]>\n<a/>\n");

    EXPECT_STREQ(tree.root().name(), "a");
}

struct MalformedCase {
    const char* text;
    std::size_t offset;
};

void PrintTo(const MalformedCase& malformed, std::ostream* out) {
    *out << malformed.text;
}

class MalformedXml : public testing::TestWithParam<MalformedCase> {};

TEST_P(MalformedXml, IsRefusedInItsPlace) {
    try {
        const XmlTree tree(GetParam().text);
        FAIL() << "was taken";
    } catch (const FileError& error) {
        EXPECT_EQ(error.offset(), GetParam().offset);
        EXPECT_FALSE(error.cause().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, MalformedXml,
                         testing::Values(MalformedCase{"", 0}, MalformedCase{"text", 0},
                                         MalformedCase{"<!-- only -->", 0},
                                         MalformedCase{"<a><b></a>", 8}, MalformedCase{"<a", 1},
                                         MalformedCase{"<a b", 4}, MalformedCase{"<a b=c/>", 5},
                                         MalformedCase{"<a/><b/>", 5}, MalformedCase{"<a/>text", 4},
                                         MalformedCase{"<a><c b='' b=''/></a>", 4},
                                         MalformedCase{"<a><!-- </a>", 11}));

TEST(XmlTree, TakesElementsUpToTheGreatestDepth) {
    EXPECT_EQ(causeOf(nested(XmlTree::maximumDepth)), L"");
    EXPECT_EQ(causeOf(nested(XmlTree::maximumDepth + 1)),
              L"more than 256 elements inside each other");
}

TEST(XmlTree, CountsTheDepthOfEveryBranch) {
    const std::string siblings = "<a/><a><b/></a>";
    EXPECT_EQ(causeOf("<r>" + siblings + nested(XmlTree::maximumDepth - 1) + siblings + "</r>"),
              L"");
    EXPECT_EQ(causeOf("<r>" + siblings + nested(XmlTree::maximumDepth) + "</r>"),
              L"more than 256 elements inside each other");
}

TEST(XmlTree, RefusesAMillionElementsInsideEachOtherWithoutRecursion) {
    EXPECT_EQ(causeOf(nested(1'000'000)), L"more than 256 elements inside each other");
}

TEST(XmlTree, RefusesMoreTagsThanMemoryIsMeantFor) {
    std::string text = "<a>";
    for (std::size_t tag = 0; tag < XmlTree::maximumTags; ++tag) {
        text += "<b/>";
    }

    EXPECT_EQ(causeOf(text + "</a>"), L"the file has more than 4,000,000 tags");
}

TEST(XmlTree, TakesManyAttributesOfDifferentNames) {
    std::string text = "<a";
    for (int index = 0; index < 50'000; ++index) {
        text += " n" + std::to_string(index) + "=''";
    }

    EXPECT_EQ(causeOf(text + "/>"), L"");
    EXPECT_EQ(causeOf(text + " n7=''/>"), L"the attribute \"n7\" stands twice in one element");
}

TEST(XmlTree, SkipsEntityDefinitionsThatWouldGrowWithoutBound) {
    const XmlTree tree("<!DOCTYPE a [<!ENTITY x 'xxxxxxxxxx'><!ENTITY y '&x;&x;&x;&x;'>"
                       "<!ENTITY z SYSTEM 'file:///etc/passwd'>]><a>&y;&z;</a>");

    EXPECT_STREQ(tree.root().child_value(), "&y;&z;");
}

} // namespace
} // namespace Config::Tests
