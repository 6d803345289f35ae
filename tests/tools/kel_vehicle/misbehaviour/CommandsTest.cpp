#include "tools/kel_vehicle/misbehaviour/Commands.hpp"

#include <filesystem>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

Misbehaviour misbehaviourIn(const std::string& line) {
    return std::get<Misbehaviour>(parseCommand(line).value());
}

std::size_t columnOfMistake(const std::string& line) {
    try {
        (void)parseCommand(line);
    } catch (const CommandError& error) {
        return error.column();
    }
    return 0;
}

TEST(Commands, SayWhichRequestsOfWhomAndHowOften) {
    const auto read = misbehaviourIn("  refuse 22 F1 unit=0x0010 at=5 times=2 code=0x72 # comment");
    EXPECT_EQ(read.kind, MisbehaviourKind::Refuse);
    EXPECT_EQ(read.request, hex("22 F1"));
    EXPECT_EQ(read.unit, 0x10);
    EXPECT_EQ(read.at, 5U);
    EXPECT_EQ(read.times, 2U);
    EXPECT_EQ(read.code, 0x72);
}

TEST(Commands, BeginAtOnceAndNeverEndUnlessTheySay) {
    const auto read = misbehaviourIn("silence 36");
    EXPECT_EQ(read.at, 1U);
    EXPECT_EQ(read.times, std::nullopt);
    EXPECT_EQ(read.unit, std::nullopt);
}

TEST(Commands, HaveAWordForEachKind) {
    EXPECT_EQ(misbehaviourIn("pending 22 for=70s").duration, 70s);
    EXPECT_EQ(misbehaviourIn("late 22 by=1500ms").duration, 1500ms);
    EXPECT_EQ(misbehaviourIn("slow 22 by=1ms").kind, MisbehaviourKind::Slow);
    EXPECT_EQ(misbehaviourIn("close 22").kind, MisbehaviourKind::Close);
    EXPECT_EQ(misbehaviourIn("cut 22").kind, MisbehaviourKind::Cut);
    EXPECT_EQ(misbehaviourIn("echo 22").kind, MisbehaviourKind::Echo);
    EXPECT_EQ(misbehaviourIn("noack 22").kind, MisbehaviourKind::NoAcknowledgement);
    EXPECT_EQ(misbehaviourIn("nack 22 code=6").kind, MisbehaviourKind::NegativeAcknowledgement);
    EXPECT_TRUE(std::holds_alternative<ClearMisbehaviours>(parseCommand("clear").value()));
}

TEST(Commands, AreNoneInAnEmptyLineAndAComment) {
    EXPECT_FALSE(parseCommand("").has_value());
    EXPECT_FALSE(parseCommand(" \t\r").has_value());
    EXPECT_FALSE(parseCommand("# silence 22").has_value());
}

TEST(Commands, NameThePlaceOfEachMistake) {
    EXPECT_EQ(columnOfMistake(" silense 22"), 2U);
    EXPECT_EQ(columnOfMistake("silence"), 1U);
    EXPECT_EQ(columnOfMistake("silence 2"), 9U);
    EXPECT_EQ(columnOfMistake("silence 22 XY"), 12U);
    EXPECT_EQ(columnOfMistake("silence 22 at=0"), 15U);
    EXPECT_EQ(columnOfMistake("silence 22 times=-1"), 18U);
    EXPECT_EQ(columnOfMistake("silence 22 unit=0x10000"), 17U);
    EXPECT_EQ(columnOfMistake("silence 22 by=1s"), 12U);
    EXPECT_EQ(columnOfMistake("silence 22 at=2 F1"), 17U);
    EXPECT_EQ(columnOfMistake("late 22"), 1U);
    EXPECT_EQ(columnOfMistake("late 22 by=3601s"), 12U);
    EXPECT_EQ(columnOfMistake("late 22 by=5"), 12U);
    EXPECT_EQ(columnOfMistake("late 22 by="), 12U);
    EXPECT_EQ(columnOfMistake("late 22 for=5s"), 9U);
    EXPECT_EQ(columnOfMistake("refuse 22"), 1U);
    EXPECT_EQ(columnOfMistake("refuse 22 code=256"), 16U);
    EXPECT_EQ(columnOfMistake("clear all"), 7U);
    EXPECT_EQ(columnOfMistake("silence 022"), 9U);
    EXPECT_EQ(columnOfMistake("silence 22 unit=0"), 17U);
    EXPECT_EQ(columnOfMistake("silence 22 unit=0x"), 17U);
    EXPECT_EQ(columnOfMistake("late 22 by=0s"), 12U);
    EXPECT_EQ(columnOfMistake("late 22 by=3600001ms"), 12U);
    EXPECT_EQ(columnOfMistake("late 22 code=0x10"), 9U);
    EXPECT_EQ(columnOfMistake("refuse 22 code=0"), 16U);
}

TEST(Commands, TakeEveryNumberUpToTheirBounds) {
    EXPECT_EQ(misbehaviourIn("silence 22 unit=1").unit, 1);
    EXPECT_EQ(misbehaviourIn("silence 22 unit=0XfFfF").unit, 0xFFFF);
    EXPECT_EQ(misbehaviourIn("silence 22 at=4294967295").at, 0xFFFFFFFFU);
    EXPECT_EQ(misbehaviourIn("refuse 22 code=255").code, 0xFF);
    EXPECT_EQ(misbehaviourIn("late 22 by=3600s").duration, 1h);
    EXPECT_EQ(misbehaviourIn("late 22 by=3600000ms").duration, 1h);
}

TEST(Commands, EndWhereACommentBegins) {
    EXPECT_EQ(misbehaviourIn("silence 22 # at=2 # at=3").at, 1U);
}

TEST(Commands, SayWhatIsWrong) {
    const auto causeOf = [](const std::string& line) -> std::string {
        try {
            (void)parseCommand(line);
        } catch (const CommandError& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_EQ(causeOf("silense 22"),
              "there is no command \"silense\", expected one of clear, pending, silence, late, "
              "refuse, close, cut, slow, echo, noack, nack");
    EXPECT_EQ(causeOf("silence"), "silence needs the first bytes of a request");
    EXPECT_EQ(causeOf("silence 2"),
              "\"2\" is no byte of a request, expected two hexadecimal digits");
    EXPECT_EQ(causeOf("silence 22 at=2 F1"), "the bytes of the request come before the settings");
    EXPECT_EQ(causeOf("silence 22 at=0"), "\"0\" is no number from 1 to 4294967295");
    EXPECT_EQ(causeOf("silence 22 by=1s"), "silence has no setting \"by\"");
    EXPECT_EQ(causeOf("late 22 by=5"),
              "\"5\" is no duration up to an hour, expected 1500ms or 70s");
    EXPECT_EQ(causeOf("late 22"), "late needs by=");
    EXPECT_EQ(causeOf("refuse 22"), "refuse needs code=");
    EXPECT_EQ(causeOf("clear all"), "clear takes nothing");
}

TEST(Commands, HaveTheWordThatIsLogged) {
    for (const std::string word :
         {"pending 22 for=1s", "silence 22", "late 22 by=1s", "refuse 22 code=1", "close 22",
          "cut 22", "slow 22 by=1s", "echo 22", "noack 22", "nack 22 code=1"}) {
        EXPECT_EQ(Platform::toUtf8(kindText(misbehaviourIn(word).kind)),
                  word.substr(0, word.find(' ')));
    }
}

class CommandFiles : public testing::Test {
protected:
    static std::string failureOf(const std::filesystem::path& file) {
        try {
            (void)readCommandFile(file);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(CommandFiles, GiveEveryCommandAndEveryMistakeWithItsPlace) {
    const auto file = folder.write("commands", "silence 22\r\n\n# late\nlate 22\nclear\ncut 36 x=");
    const auto read = readCommandFile(file);
    EXPECT_EQ(read.commands.size(), 2U);
    const std::string name = Platform::toUtf8(Platform::fromPath(file));
    EXPECT_THAT(read.mistakes, testing::ElementsAre(name + ":4:1: late needs by=",
                                                    name + ":6:8: cut has no setting \"x\""));
}

TEST_F(CommandFiles, AreNamedWhenTheyCannotBeRead) {
    const auto nowhere = folder.path() / "nowhere";
    EXPECT_THAT(failureOf(nowhere),
                testing::StartsWith(Platform::toUtf8(Platform::fromPath(nowhere)) + ": "));
    EXPECT_THAT(failureOf(folder.path()),
                testing::StartsWith(Platform::toUtf8(Platform::fromPath(folder.path())) + ": "));
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
