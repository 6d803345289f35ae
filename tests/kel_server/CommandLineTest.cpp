#include "kel_server/CommandLine.hpp"

#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace Quarlen {

namespace {

class CommandLine : public testing::Test {
protected:
    CommandLineResult parse(const std::vector<const wchar_t*>& arguments) {
        return parseCommandLine(options, static_cast<int>(arguments.size()), arguments.data(),
                                console);
    }

    std::ostringstream output;
    Platform::Console console{output};
    StartOptions options;
};

TEST_F(CommandLine, StartsWithTheDefaults) {
    EXPECT_EQ(parse({L"kel_server"}), CommandLineResult::GoOn);

    EXPECT_FALSE(options.delayedStart || options.nonInteractive || options.dbus || options.rest ||
                 options.sovd);
    EXPECT_TRUE(options.verbose);
    EXPECT_EQ(options.presetFacade, nullptr);
    EXPECT_EQ(options.argumentCount, 1U);
    EXPECT_EQ(options.arguments[0], L"kel_server");
    EXPECT_EQ(output.str(), "");
}

TEST_F(CommandLine, StoresAddressAndPortAtTheirIndexes) {
    parse({L"kel_server", L"10.0.0.5", L"58005"});

    EXPECT_EQ(options.argumentCount, 3U);
    EXPECT_EQ(options.arguments[1], L"10.0.0.5");
    EXPECT_EQ(options.arguments[2], L"58005");
}

TEST_F(CommandLine, LeavesTheAddressEmptyBehindAnOption) {
    parse({L"kel_server", L"--REST", L"eth0"});

    EXPECT_EQ(options.argumentCount, 2U);
    EXPECT_EQ(options.arguments[1], L"");
    EXPECT_EQ(options.arguments[2], L"eth0");
}

TEST_F(CommandLine, AcceptsAndIgnoresWatchdogPresent) {
    EXPECT_EQ(parse({L"kel_server", L"--watchdogPresent"}), CommandLineResult::GoOn);

    EXPECT_EQ(options.argumentCount, 1U);
    EXPECT_EQ(options.arguments[1], L"");
}

TEST_F(CommandLine, KeepsTheTenthAndIgnoresTheEleventhPositionalArgument) {
    parse({L"0", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"10", L"11"});

    EXPECT_EQ(options.argumentCount, 10U);
    EXPECT_EQ(options.arguments[9], L"9");
}

TEST_F(CommandLine, FindsAnOptionBehindTheTenthPlace) {
    parse({L"0", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"10", L"--sovd"});

    EXPECT_TRUE(options.sovd);
}

TEST_F(CommandLine, FindsAnOptionInTheProgramPath) {
    parse({L"/srv/--REST/kel_server"});

    EXPECT_TRUE(options.rest);
    EXPECT_EQ(options.argumentCount, 0U);
    EXPECT_EQ(options.arguments[0], L"");
}

TEST_F(CommandLine, LetsTheFirstOptionWordInTheTestedOrderDecide) {
    EXPECT_EQ(parse({L"kel_server", L"--help--dbus--REST"}), CommandLineResult::GoOn);

    EXPECT_TRUE(options.dbus);
    EXPECT_FALSE(options.rest);
}

TEST_F(CommandLine, StopsAtTheFirstRequestForUsage) {
    EXPECT_EQ(parse({L"kel_server", L"?", L"--REST"}), CommandLineResult::UsageShown);

    EXPECT_FALSE(options.rest);
}

TEST_F(CommandLine, CopesWithoutAnyArgument) {
    EXPECT_EQ(parse({}), CommandLineResult::GoOn);

    EXPECT_EQ(options.argumentCount, 0U);
}

struct FlagCase {
    const wchar_t* argument;
    bool StartOptions::*flag;
};

class CommandLineFlag : public CommandLine, public testing::WithParamInterface<FlagCase> {};

TEST_P(CommandLineFlag, IsSetByAnArgumentThatContainsItsWord) {
    EXPECT_EQ(parse({L"kel_server", GetParam().argument}), CommandLineResult::GoOn);

    EXPECT_TRUE(options.*(GetParam().flag));
    EXPECT_EQ(options.argumentCount, 1U);
}

INSTANTIATE_TEST_SUITE_P(Words, CommandLineFlag,
                         testing::Values(FlagCase{L"--delayedStart", &StartOptions::delayedStart},
                                         FlagCase{L"--non_interactive",
                                                  &StartOptions::nonInteractive},
                                         FlagCase{L"--dbus", &StartOptions::dbus},
                                         FlagCase{L"--REST", &StartOptions::rest},
                                         FlagCase{L"--RESTful", &StartOptions::rest},
                                         FlagCase{L"x--RESTx", &StartOptions::rest},
                                         FlagCase{L"--sovd", &StartOptions::sovd},
                                         FlagCase{L"--SOVD", &StartOptions::sovd}));

class CommandLineHelp : public CommandLine, public testing::WithParamInterface<const wchar_t*> {};

TEST_P(CommandLineHelp, ShowsTheUsageText) {
    EXPECT_EQ(parse({L"kel_server", GetParam()}), CommandLineResult::UsageShown);

    EXPECT_EQ(output.str().substr(0, 8), "Usage: \n");
    EXPECT_EQ(options.argumentCount, 1U);
}

INSTANTIATE_TEST_SUITE_P(Words, CommandLineHelp,
                         testing::Values(L"--help", L"-help", L"?", L"x-helpx",
                                         L"--watchdogPresent-help"));

class CommandLinePositional : public CommandLine,
                              public testing::WithParamInterface<const wchar_t*> {};

TEST_P(CommandLinePositional, IsEverythingElse) {
    EXPECT_EQ(parse({L"kel_server", GetParam()}), CommandLineResult::GoOn);

    EXPECT_EQ(options.argumentCount, 2U);
    EXPECT_EQ(options.arguments[1], GetParam());
    EXPECT_FALSE(options.rest || options.sovd);
}

INSTANTIATE_TEST_SUITE_P(Words, CommandLinePositional,
                         testing::Values(L"??", L"x?", L"--rest", L"--Sovd", L"help", L"-h",
                                         L"--unknown", L""));

} // namespace

} // namespace Quarlen
