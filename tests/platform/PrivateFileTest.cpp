#include "platform/PrivateFile.hpp"

#include <system_error>

#include <gtest/gtest.h>

#include "platform/FilePrivacy.hpp"
#include "tests/support/FileAccess.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

class PrivateFile : public testing::Test {
protected:
    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(PrivateFile, IsMadeForItsOwnerOnly) {
    const auto file = folder.inside("secret");

    appendPrivately(file, "first\n");

    EXPECT_TRUE(isPrivate(file));
    EXPECT_EQ(folder.read("secret"), "first\n");
}

TEST_F(PrivateFile, KeepsWhatItHasAlready) {
    const auto file = folder.write("secret", "first\n");

    appendPrivately(file, "second\n");

    EXPECT_EQ(folder.read("secret"), "first\nsecond\n");
}

TEST_F(PrivateFile, IsNoLongerReadableByOthers) {
    const auto file = folder.write("secret", "first\n");
    Quarlen::Tests::makeReadableByAll(file);

    appendPrivately(file, "second\n");

    EXPECT_TRUE(isPrivate(file));
}

TEST_F(PrivateFile, TellsWhyItCannotBeWritten) {
    EXPECT_THROW(appendPrivately(folder.inside("missing") / "secret", "x"), std::system_error);
}

} // namespace
} // namespace Quarlen::Platform::Tests
