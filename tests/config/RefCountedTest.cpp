#include "config/RefCounted.hpp"

#include <utility>

#include <gtest/gtest.h>

#include "config/ScriptObjects.hpp"

namespace Config::Tests {
namespace {

class Counted : public RefCounted {
public:
    explicit Counted(int& living) : living(living) { ++living; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() override { --living; }

private:
    int& living;
};

TEST(RefCounted, LivesUntilTheLastOwnerGoes) {
    int living = 0;
    {
        Ref<Counted> first(new Counted(living));
        const Ref<RefCounted> second = first;
        first = {};
        EXPECT_EQ(living, 1);
    }
    EXPECT_EQ(living, 0);
}

TEST(RefCounted, ChangesOwnerByMoveAndSurvivesSelfAssignment) {
    int living = 0;
    Ref<Counted> first(new Counted(living));

    Ref<Counted> second = std::move(first);
    const Ref<Counted>& same = second;
    second = same;

    EXPECT_EQ(living, 1);
    EXPECT_FALSE(static_cast<bool>(first)); // NOLINT(bugprone-use-after-move): asked here
    EXPECT_TRUE(static_cast<bool>(second));
}

TEST(ConfigObject, IsCastToItsOwnClassOnly) {
    const Ref<ConfigObject> object(new CfxSelectAction);

    EXPECT_EQ(as<CfxSelectAction>(*object), object.get());
    EXPECT_EQ(as<CfxExecuteAction>(*object), nullptr);
}

} // namespace
} // namespace Config::Tests
