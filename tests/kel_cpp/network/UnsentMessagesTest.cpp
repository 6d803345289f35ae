#include "kel_cpp/network/UnsentMessages.hpp"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

UnsentMessages::Message message(const std::string& text) {
    return std::make_shared<const std::string>(text);
}

TEST(UnsentMessages, AreSentInTheirOrder) {
    UnsentMessages unsent;
    unsent.add(message("answer"), true);
    unsent.add(message("notification"), false);

    EXPECT_EQ(*unsent.first(), "answer");
    EXPECT_TRUE(unsent.removeFirst());
    EXPECT_EQ(*unsent.first(), "notification");
    EXPECT_FALSE(unsent.removeFirst());
    EXPECT_TRUE(unsent.empty());
}

TEST(UnsentMessages, CountTheirBytes) {
    UnsentMessages unsent;
    unsent.add(message("123"), true);
    unsent.add(message("45"), false);
    EXPECT_EQ(unsent.bytes(), 5U);

    unsent.removeFirst();

    EXPECT_EQ(unsent.bytes(), 2U);
    EXPECT_EQ(unsent.size(), 1U);
}

TEST(UnsentMessages, KeepWhatIsBeingSentWhenTheOthersAreDropped) {
    UnsentMessages unsent;
    unsent.add(message("123"), false);
    unsent.add(message("45"), true);
    unsent.add(message("6"), false);

    unsent.dropOthers();

    EXPECT_EQ(unsent.size(), 1U);
    EXPECT_EQ(*unsent.first(), "123");
    EXPECT_EQ(unsent.bytes(), 3U);
}

TEST(UnsentMessages, CountNotificationsWithoutAnswers) {
    UnsentMessages unsent;
    unsent.add(message("x"), true);
    unsent.add(message("x"), false);
    unsent.add(message("x"), false);

    EXPECT_TRUE(unsent.hasNotifications(2));
    EXPECT_FALSE(unsent.hasNotifications(3));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
