#include "platform/windows/HandleOutput.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/windows/ScriptedConsole.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using testing::Each;
using testing::Le;
using testing::SizeIs;

const std::string car = "\xF0\x9F\x9A\x97";

class HandleOutputTo : public testing::Test {
protected:
    HandleOutputTo() { console.modes[::GetStdHandle(STD_OUTPUT_HANDLE)] = ENABLE_PROCESSED_OUTPUT; }

    void isAFile() { console.modes.clear(); }

    std::wstring shown(const std::string& text) {
        console.pieces.clear();
        output.write(text);
        return console.shown();
    }

    ScriptedConsole console;
    ConsoleModes modes{console.calls()};
    HandleOutput output{STD_OUTPUT_HANDLE, modes, console.calls()};
};

TEST_F(HandleOutputTo, AConsoleIsOfUtf16WithReturns) {
    EXPECT_EQ(shown("Pr\xC3\xBC"
                    "f " +
                    car + "\n\r\n"),
              L"Pr\u00FCf \U0001F697\r\n\r\n");
}

TEST_F(HandleOutputTo, AConsoleIsASwitchToLinesFirst) {
    output.write("text");

    EXPECT_EQ(console.modes[::GetStdHandle(STD_OUTPUT_HANDLE)],
              DWORD{ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT});
}

TEST_F(HandleOutputTo, AConsoleKeepsACharacterTogetherThatComesInTwoTexts) {
    for (std::size_t cut = 1; cut < car.size(); ++cut) {
        EXPECT_EQ(shown("a" + car.substr(0, cut)), L"a");
        EXPECT_EQ(shown(car.substr(cut) + "b"), L"\U0001F697b");
    }
    EXPECT_EQ(shown("\xE2\x82"), L"");
    EXPECT_EQ(shown("\xAC"), L"\u20AC");
    EXPECT_EQ(shown("\xC3"), L"");
    EXPECT_EQ(shown("\xBC"), L"\u00FC");
}

TEST_F(HandleOutputTo, AConsoleShowsBytesThatAreNoUtf8AsReplacement) {
    EXPECT_EQ(shown("a\xFF\x80"
                    "b"),
              L"a\uFFFD\uFFFDb");
    EXPECT_EQ(shown("\xC3"), L"");
    EXPECT_EQ(shown("b"), L"\uFFFDb");
}

TEST_F(HandleOutputTo, AConsoleIsInPiecesThatOldOnesTake) {
    const std::size_t size = 100000;

    EXPECT_EQ(shown(std::string(size, 'x')), std::wstring(size, L'x'));

    EXPECT_THAT(console.pieces, Each(SizeIs(Le(8192U))));
}

TEST_F(HandleOutputTo, AConsoleHasNoCutBetweenTheUnitsOfACharacter) {
    const std::string before(HandleOutput::pieceUnits - 1, 'x');

    shown(before + car);

    ASSERT_EQ(console.pieces.size(), 2U);
    EXPECT_EQ(console.pieces[1], L"\U0001F697");
}

TEST_F(HandleOutputTo, AConsoleGoesOnAfterAPart) {
    console.answers = {1, 2};
    EXPECT_EQ(shown("abcdef"), L"abcdef");
}

TEST_F(HandleOutputTo, AConsoleIsTriedAgainAfterAFailure) {
    console.answers = {2, -1};
    EXPECT_EQ(shown("lost"), L"lo");
    EXPECT_EQ(shown("next"), L"next");
}

TEST_F(HandleOutputTo, AConsoleThatTakesNothingIsNotTriedForEver) {
    console.answers = {0};
    EXPECT_EQ(shown("lost"), L"");
    EXPECT_EQ(shown("next"), L"next");
}

TEST_F(HandleOutputTo, AFileIsByteForByte) {
    isAFile();
    const std::string text("\n\r\n\0\xC3\xBC\xFF", 7);

    output.write(text);

    EXPECT_EQ(console.bytes, text);
    EXPECT_FALSE(output.isScreen());
}

TEST_F(HandleOutputTo, AFullPipeIsTriedAgainWithTheNextText) {
    isAFile();
    console.answers = {2, 0};
    output.write("lost");
    EXPECT_EQ(console.bytes, "lo");

    console.answers = {-1};
    output.write("lost");
    output.write("next");

    EXPECT_EQ(console.bytes, "lonext");
}

TEST_F(HandleOutputTo, AConsoleIsAScreen) {
    EXPECT_TRUE(output.isScreen());
}

} // namespace

} // namespace Quarlen::Platform::Tests
