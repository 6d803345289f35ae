#include "kel_server/CommandLine.hpp"

#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace Quarlen::Tests {

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

TEST_F(CommandLine, IgnoresEveryArgumentThatContainsWatchdogPresent) {
    parse({L"kel_server", L"x--watchdogPresent=1", L"58005"});

    EXPECT_EQ(options.argumentCount, 2U);
    EXPECT_EQ(options.arguments[1], L"");
    EXPECT_EQ(options.arguments[2], L"58005");
}

TEST_F(CommandLine, ShowsTheUsageWithTheNameOfTheProgram) {
    parse({L"/opt/kel/kel_server", L"--help"});

    EXPECT_NE(output.str().find("\n kel_server eth0\n"), std::string::npos) << output.str();
}

TEST_F(CommandLine, ShowsTheUsageWithTheNameOfAProgramWhosePathIsAnOption) {
    parse({L"/srv/--REST/kel_server", L"--help"});

    EXPECT_NE(output.str().find("\n kel_server eth0\n"), std::string::npos) << output.str();
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

/// Two words in one argument: the one that is tested first decides, wherever it stands.
struct TwoWords {
    std::wstring first;
    std::wstring second;
};

class CommandLineOrder : public CommandLine, public testing::WithParamInterface<TwoWords> {
protected:
    /// What the argument sets or asks for.
    static std::vector<bool> effectOf(const std::wstring& argument) {
        std::ostringstream output;
        Platform::Console console(output);
        StartOptions options;
        const std::vector<const wchar_t*> arguments{L"kel_server", argument.c_str()};
        const auto result = parseCommandLine(options, 2, arguments.data(), console);
        return {options.delayedStart, options.nonInteractive,
                options.dbus,         options.rest,
                options.sovd,         result == CommandLineResult::UsageShown};
    }
};

TEST_P(CommandLineOrder, LetsTheWordThatIsTestedFirstDecide) {
    const auto& [first, second] = GetParam();

    EXPECT_NE(effectOf(first), effectOf(second));
    EXPECT_EQ(effectOf(first + second), effectOf(first));
    EXPECT_EQ(effectOf(second + first), effectOf(first));
}

INSTANTIATE_TEST_SUITE_P(
    Neighbours, CommandLineOrder,
    testing::Values(TwoWords{L"--delayedStart", L"--non_interactive"},
                    TwoWords{L"--non_interactive", L"--dbus"}, TwoWords{L"--dbus", L"--REST"},
                    TwoWords{L"--REST", L"--sovd"}, TwoWords{L"--REST", L"--SOVD"},
                    TwoWords{L"--SOVD", L"--help"}, TwoWords{L"--sovd", L"-help"},
                    TwoWords{L"--dbus", L"--watchdogPresent"},
                    TwoWords{L"--help", L"--watchdogPresent"}));

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
    EXPECT_EQ(options.delayedStart + options.nonInteractive + options.dbus + options.rest +
                  options.sovd,
              1);
    EXPECT_TRUE(options.verbose);
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

} // namespace Quarlen::Tests
