#include "kel_cpp/rpc/AccessTokens.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FileAccess.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"
#include "tests/support/UnreadableFile.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

/// The SHA-256 of "see" and of "do".
constexpr const char* see = "aa9e9b5c907d50feb410f2a84e81ab72c5ae6724d57ccc53650f9361d33dc734";
constexpr const char* act = "ac0b52a2ae6ef99999bc08fb31e19188bf0085a4614204068e677e140e1458be";

class SomeAccessTokens : public testing::Test {
protected:
    void write(const std::string& content) const {
        Quarlen::Tests::makePrivate(folder.write("access.token", content));
    }
    /// The end of the trace about a file with this content, after the file's name.
    std::wstring causeOf(const std::string& content) {
        write(content);
        EXPECT_FALSE(tokens.find("see"));
        return traces.texts().empty() ? L"" : traces.texts().back();
    }

    Quarlen::Tests::TemporaryFolder folder;
    Quarlen::Tests::TraceCapture traces;
    AccessTokens tokens{folder.inside("access.token")};
};

TEST_F(SomeAccessTokens, FindRolesAndNames) {
    write(std::string("control line ") + act + "\nwatch \xC3\xA4 " + see + "\n");

    EXPECT_EQ(tokens.find("do")->role, Role::Control);
    EXPECT_EQ(tokens.find("do")->name, L"line");
    EXPECT_EQ(tokens.find("see")->role, Role::Watch);
    EXPECT_EQ(tokens.find("see")->name, L"\u00E4");
    EXPECT_FALSE(tokens.find("d"));
    EXPECT_FALSE(tokens.find(""));
    EXPECT_FALSE(tokens.find(act));
    EXPECT_THAT(traces.texts(), IsEmpty());
}

TEST_F(SomeAccessTokens, LeaveOutCommentsAndEmptyLines) {
    write(std::string("# comment\n\n  \t\r\nwatch a ") + see + "\r\n");

    EXPECT_TRUE(tokens.find("see"));
}

TEST_F(SomeAccessTokens, TellHowOftenTheFileHasChanged) {
    const std::size_t atFirst = tokens.refresh();
    EXPECT_EQ(tokens.refresh(), atFirst);
    write(std::string("watch a ") + see);

    EXPECT_NE(tokens.refresh(), atFirst);
    EXPECT_TRUE(tokens.has({Role::Watch, L"a"}));
    EXPECT_FALSE(tokens.has({Role::Control, L"a"}));
    EXPECT_FALSE(tokens.has({Role::Watch, L"b"}));
    const std::size_t withToken = tokens.refresh();
    write("");
    EXPECT_NE(tokens.refresh(), withToken);
    EXPECT_FALSE(tokens.has({Role::Watch, L"a"}));
    EXPECT_EQ(AccessTokens({}).refresh(), 0U);
}

TEST_F(SomeAccessTokens, AreNoneWithoutAFile) {
    AccessTokens none{std::filesystem::path()};

    EXPECT_FALSE(none.areConfigured());
    EXPECT_TRUE(tokens.areConfigured());
    EXPECT_FALSE(none.find("see"));
    EXPECT_THAT(traces.texts(), IsEmpty());
}

TEST_F(SomeAccessTokens, TellOnceThatTheFileIsMissing) {
    EXPECT_FALSE(tokens.find("see"));
    EXPECT_FALSE(tokens.find("see"));

    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0], HasSubstr(L"nobody can log in: "));
    EXPECT_THAT(traces.texts()[0], HasSubstr(L"access.token: the file cannot be read: "));
    EXPECT_THAT(traces.texts()[0], Quarlen::Tests::EndsWithANumber());
}

TEST_F(SomeAccessTokens, TellTheCauseOfAFileThatCannotBeOpened) {
    write(std::string("watch a ") + see);
    {
        const Quarlen::Tests::UnreadableFile unreadable(folder.inside("access.token"));
        EXPECT_FALSE(tokens.find("see"));
    }

    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0],
                testing::AllOf(HasSubstr(L"access.token: the file cannot be read: "),
                               Quarlen::Tests::EndsWithANumber()));
}

TEST_F(SomeAccessTokens, AreNotThoseOfAFolder) {
    std::filesystem::create_directory(folder.inside("access.token"));

    EXPECT_FALSE(tokens.find("see"));

    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0], EndsWith(L"access.token: this is no regular file"));
}

TEST_F(SomeAccessTokens, NameTheLineThatIsWrong) {
    EXPECT_THAT(causeOf(std::string("watch a ") + see + "\nadmin b " + act),
                EndsWith(L"line 2: expected the role \"watch\" or \"control\""));
    EXPECT_THAT(causeOf("watch a\n"),
                EndsWith(L"line 1: expected the SHA-256 of the token, 64 hexadecimal digits"));
    EXPECT_THAT(causeOf(std::string("\nwatch a ") + see + "0"),
                EndsWith(L"line 2: expected the SHA-256 of the token, 64 hexadecimal digits"));
    EXPECT_THAT(causeOf(std::string("watch a ") + std::string(see).replace(3, 1, "x")),
                EndsWith(L"line 1: the SHA-256 of the token has a character that is no "
                         L"hexadecimal digit"));
    EXPECT_THAT(causeOf(std::string("watch a ") + see + " more"),
                EndsWith(L"line 1: expected a role, a name and a SHA-256, found more"));
}

TEST_F(SomeAccessTokens, AreReadAgainWhenTheFileHasChanged) {
    write("");
    EXPECT_FALSE(tokens.find("see"));

    write(std::string("watch a ") + see);
    EXPECT_TRUE(tokens.find("see"));
    std::filesystem::remove(folder.inside("access.token"));
    EXPECT_FALSE(tokens.find("see"));
}

TEST_F(SomeAccessTokens, AreRefusedWhenOthersCanReadThem) {
    write(std::string("watch a ") + see);
    Quarlen::Tests::makeReadableByAll(folder.inside("access.token"));

    EXPECT_FALSE(tokens.find("see"));

    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0], EndsWith(L"others can read this file; only its owner may"));
}

TEST_F(SomeAccessTokens, AreRefusedWhenTheFileIsTooLarge) {
    EXPECT_THAT(causeOf(std::string("watch a ") + see + "\n" + std::string(1U << 20U, '#')),
                EndsWith(L"the file is larger than 1048576 bytes"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
