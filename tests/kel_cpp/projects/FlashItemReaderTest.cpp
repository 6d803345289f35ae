#include "kel_cpp/projects/FlashItemReader.hpp"

#include <string>

#include <gtest/gtest.h>

#include "kel_cpp/projects/ProjectStore.hpp"
#include "tests/kel_cpp/settings/ExceptionMessage.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

/// The flash item of a project with this content between its tags.
class ReadingFlashItem : public testing::Test {
protected:
    FlashItem read(const std::string& content) const {
        const auto project = readProject(
            folder.write("project.xml",
                         "<Project><FlashItem name='F' target='T' keyMask='1'>\n" + content +
                             "</FlashItem><VehicleInformation name='V'><Target name='T' link='L'/>"
                             "</VehicleInformation></Project>"),
            L"Car");
        return project->flashItems.at(0);
    }

    std::string refusal(const std::string& content) const {
        const std::string message = messageOf([&] { (void)read(content); });
        const std::string place = (folder.path() / "project.xml").string() + ":";
        EXPECT_TRUE(message.starts_with(place));
        return message.substr(std::min(place.size(), message.size()));
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ReadingFlashItem, HasNoStepsWhereTheProjectGivesNone) {
    EXPECT_TRUE(read("<Session name='S' file='a' address='0'/>").steps.empty());
}

TEST_F(ReadingFlashItem, KeepsItsStepsInTheirOrder) {
    const auto item = read("<Sequence><Request send='10 03'/><Unlock/><Fingerprint tester='0A 0B'/>"
                           "<!-- all --><Sessions/><CheckDependencies/>"
                           "<Reset bootMilliseconds='300000'/><Reset/></Sequence>"
                           "<Session name='S' file='a' address='0'/>");

    ASSERT_EQ(item.steps.size(), 7U);
    EXPECT_EQ(std::get<FlashRequest>(item.steps[0]).request, (Uds::Bytes{0x10, 0x03}));
    EXPECT_TRUE(std::holds_alternative<FlashUnlock>(item.steps[1]));
    EXPECT_EQ(std::get<FlashFingerprint>(item.steps[2]).tester, (Uds::Bytes{0x0A, 0x0B}));
    EXPECT_TRUE(std::holds_alternative<FlashMemories>(item.steps[3]));
    EXPECT_TRUE(std::holds_alternative<FlashDependencies>(item.steps[4]));
    EXPECT_EQ(std::get<FlashReset>(item.steps[5]).bootTime, std::chrono::minutes(5));
    EXPECT_EQ(std::get<FlashReset>(item.steps[6]).bootTime, std::chrono::seconds(10));
    EXPECT_EQ(item.sessions.size(), 1U);
}

TEST_F(ReadingFlashItem, TakesAFileUncheckedOnlyWhereASessionSaysSo) {
    const auto item = read("<Session name='A' file='a' address='0' unchecked='true'/>"
                           "<Session name='B' file='b' address='0' unchecked='false'/>"
                           "<Session name='C' file='c' address='0'/>");

    EXPECT_TRUE(item.sessions[0].unchecked);
    EXPECT_FALSE(item.sessions[1].unchecked);
    EXPECT_FALSE(item.sessions[2].unchecked);
}

TEST_F(ReadingFlashItem, RefusesFilesThatAreNotInTheFolderOfFlashFiles) {
    for (const std::string file : {"a/b", "a\\b", "C:a", ".", ".."}) {
        EXPECT_EQ(refusal("<Session name='S' file='" + file + "' address='0'/>"),
                  "2:19: attribute \"file\" is \"" + file +
                      "\", expected the name of a file in the folder flashdata");
    }
}

TEST_F(ReadingFlashItem, RefusesAFileWithoutBytes) {
    EXPECT_EQ(refusal("<Session name='S' file='a' address='0' size='0'/>"),
              "2:40: attribute \"size\" is \"0\", expected a number from 1 to 4294967295");
}

TEST_F(ReadingFlashItem, RefusesWrongStepsWithPlaceAndCause) {
    EXPECT_EQ(refusal("<Sequence><Jump/><Sessions/></Sequence>"),
              "2:11: unknown element \"Jump\" in \"Sequence\", expected: Request, Unlock, "
              "Fingerprint, Sessions, CheckDependencies, Reset");
    EXPECT_EQ(refusal("<Sequence/>"), "2:1: \"Sequence\" needs exactly one \"Sessions\"");
    EXPECT_EQ(refusal("<Sequence><Sessions/><Sessions/></Sequence>"),
              "2:1: \"Sequence\" needs exactly one \"Sessions\"");
    EXPECT_EQ(refusal("<Sequence><Sessions/></Sequence><Sequence><Sessions/></Sequence>"),
              "2:33: element \"Sequence\" stands twice");
    EXPECT_EQ(refusal("<Sequence><Request/><Sessions/></Sequence>"),
              "2:11: \"Request\" needs the attribute \"send\"");
    EXPECT_EQ(refusal("<Sequence><Fingerprint/><Sessions/></Sequence>"),
              "2:11: \"Fingerprint\" needs the attribute \"tester\"");
    EXPECT_EQ(refusal("<Sequence><Reset bootMilliseconds='300001'/><Sessions/></Sequence>"),
              "2:18: attribute \"bootMilliseconds\" is \"300001\", expected a number from 0 to "
              "300000");
    EXPECT_EQ(refusal("<Sequence><Unlock level='1'/><Sessions/></Sequence>"),
              "2:19: unknown attribute \"level\" of \"Unlock\", expected: none");
    EXPECT_EQ(refusal("<Sequence><Sessions>x</Sessions></Sequence>"),
              "2:21: text \"x\" in \"Sessions\", expected no text");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
