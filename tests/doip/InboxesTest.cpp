#include "doip/Inboxes.hpp"

#include <chrono>

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using Answers = Inbox::Answers;

const Inbox::TimePoint start{1h};

} // namespace

TEST(AnInbox, GivesMessagesInTheOrderOfArrivalUpToTheDeadline) {
    Inbox inbox(0x11, Answers::FromOne);
    inbox.add(0x11, hex("7E 00"), start);
    inbox.add(0x11, hex("7E 01"), start + 2s);
    EXPECT_EQ(hex(inbox.take(start + 1s).value().bytes), "7E 00");
    EXPECT_FALSE(inbox.take(start + 1s));
    EXPECT_TRUE(inbox.hasSomething());
    EXPECT_EQ(hex(inbox.take(start + 2s).value().bytes), "7E 01");
    EXPECT_FALSE(inbox.hasSomething());
}

TEST(AnInbox, KeepsTheNewestMessages) {
    Inbox inbox(0x11, Answers::FromOne);
    for (int count = 0; count < 256; ++count) {
        EXPECT_TRUE(inbox.add(0x11, hex("7E 00"), start));
    }
    EXPECT_FALSE(inbox.add(0x11, hex("7E 01"), start));
    int taken = 1;
    while (hex(inbox.take(start).value().bytes) != "7E 01") {
        ++taken;
    }
    EXPECT_EQ(taken, 256);
}

TEST(AnInbox, KeepsSoManyBytesAndTheNewestMessageHoweverLongItIs) {
    Inbox inbox(0x11, Answers::FromOne);
    const Bytes half(std::size_t{2048} * 1024, 0x62);
    EXPECT_TRUE(inbox.add(0x11, half, start));
    EXPECT_TRUE(inbox.add(0x11, half, start));
    EXPECT_FALSE(inbox.add(0x11, hex("7E 00"), start));
    EXPECT_EQ(inbox.take(start).value().bytes.size(), half.size());
    EXPECT_EQ(hex(inbox.take(start).value().bytes), "7E 00");
    for (int taken = 0; taken < 2; ++taken) {
        EXPECT_TRUE(inbox.add(0x11, half, start));
        EXPECT_TRUE(inbox.add(0x11, half, start));
        EXPECT_TRUE(inbox.take(start));
        EXPECT_TRUE(inbox.take(start));
    }
    EXPECT_TRUE(inbox.add(0x11, Bytes(std::size_t{5000} * 1024), start));
    EXPECT_TRUE(inbox.hasSomething());
}

TEST(AnInbox, KnowsItsOldestMessageThatNothingHasAcknowledged) {
    Inbox inbox(0x11, Answers::FromOne);
    EXPECT_FALSE(inbox.oldestUntaken());
    inbox.noteSent(hex("3E 80"), start);
    inbox.noteSent(hex("3E 00"), start + 1s);
    EXPECT_EQ(inbox.oldestUntaken(), start);
    inbox.noteTaken();
    EXPECT_EQ(inbox.oldestUntaken(), start + 1s);
    inbox.noteTaken();
    inbox.noteTaken();
    EXPECT_FALSE(inbox.oldestUntaken());
}

TEST(AnInbox, AnAnswerToTheLastMessageSaysThatAllWereTaken) {
    Inbox inbox(0x11, Answers::FromOne);
    inbox.noteSent(hex("3E 00"), start);
    inbox.add(0x11, hex("62 F1 90 41"), start);
    EXPECT_TRUE(inbox.oldestUntaken());
    inbox.noteSent(hex("3E 00"), start + 1s);
    inbox.add(0x11, hex("7F 3E 78"), start);
    EXPECT_FALSE(inbox.oldestUntaken());
}

TEST(AnInbox, TellsARefusalOnceAndOnlyOfAMessageThatItSent) {
    Inbox inbox(0x11, Answers::FromOne);
    inbox.noteRefused(0x06);
    EXPECT_FALSE(inbox.takeRefusal());
    inbox.noteSent(hex("3E 00"), start);
    inbox.noteRefused(0x06);
    EXPECT_TRUE(inbox.hasSomething());
    EXPECT_FALSE(inbox.oldestUntaken());
    EXPECT_FALSE(inbox.awaits(hex("7E 00")));
    EXPECT_EQ(inbox.takeRefusal(), 0x06);
    EXPECT_FALSE(inbox.takeRefusal());
}

TEST(AnInbox, AwaitsUpToTheFinalAnswerOfOne) {
    Inbox inbox(0x11, Answers::FromOne);
    EXPECT_FALSE(inbox.awaits(hex("7E 00")));
    inbox.noteSent(hex("3E 00"), start);
    inbox.add(0x11, hex("7F 3E 78"), start);
    EXPECT_TRUE(inbox.awaits(hex("7E 00")));
    EXPECT_FALSE(inbox.awaits(hex("62 F1 90")));
    inbox.add(0x11, hex("7E 00"), start);
    EXPECT_FALSE(inbox.awaits(hex("7E 00")));
}

TEST(AnInbox, AwaitsTheAnswerToItsQuestionOnly) {
    Inbox inbox(0x11, Answers::FromOne);
    inbox.noteSent(hex("22 F1 90"), start);
    EXPECT_TRUE(inbox.awaits(hex("62 F1 90 41")));
    EXPECT_FALSE(inbox.awaits(hex("62 F1 87 41")));
    inbox.noteSent(hex("31 01 02 00"), start);
    EXPECT_TRUE(inbox.awaits(hex("71 01 02 00")));
    EXPECT_FALSE(inbox.awaits(hex("71 01 02 01")));
}

TEST(AnInbox, OfAllAwaitsFurtherAnswers) {
    Inbox inbox(0xE400, Answers::FromAll);
    inbox.noteSent(hex("3E 00"), start);
    inbox.add(0x11, hex("7E 00"), start);
    EXPECT_TRUE(inbox.awaits(hex("7E 00")));
}

TEST(AnInbox, AwaitsNoResponseThatItsMessageSuppresses) {
    Inbox inbox(0x11, Answers::FromOne);
    inbox.noteSent(hex("3E 80"), start);
    EXPECT_FALSE(inbox.awaits(hex("7E 00")));
    inbox.noteSent(hex("3E 00"), start);
    inbox.forgetQuestion();
    EXPECT_FALSE(inbox.awaits(hex("7E 00")));
}

TEST(AnInbox, CountsTheTimeForAnAcknowledgementFromTheLastByte) {
    Inbox inbox(0x11, Answers::FromOne);
    inbox.noteSent(hex("3E 00"), start);
    inbox.noteSent(hex("3E 00"), start + 1s);
    inbox.noteOut(start + 3s);
    EXPECT_EQ(inbox.oldestUntaken(), start);
    inbox.noteTaken();
    EXPECT_EQ(inbox.oldestUntaken(), start + 3s);
    inbox.noteOut(start + 4s);
    inbox.noteUnsent();
    EXPECT_EQ(inbox.oldestUntaken(), std::nullopt);
    inbox.noteOut(start + 5s);
    EXPECT_EQ(inbox.oldestUntaken(), std::nullopt);
}

TEST(TheInboxes, GiveAMessageToWhoAsked) {
    Inboxes inboxes;
    const auto one = inboxes.open(0x11, Answers::FromOne);
    const auto all = inboxes.open(0xE400, Answers::FromAll);
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), one);
    EXPECT_EQ(inboxes.receiverOf(0x12, hex("7E 00")), nullptr);
    all->noteSent(hex("3E 00"), start);
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), all);
    EXPECT_EQ(inboxes.receiverOf(0x12, hex("7E 00")), all);
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("62 F1 90")), one);
    one->noteSent(hex("3E 00"), start);
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), one);
}

TEST(TheInboxes, EndWithTheirLastOwnerAndTheNewestOfAnAddressCounts) {
    Inboxes inboxes;
    auto former = inboxes.open(0x11, Answers::FromOne);
    auto newest = inboxes.open(0x11, Answers::FromOne);
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), newest);
    newest.reset();
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), former);
    former.reset();
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), nullptr);
}

TEST(TheInboxes, GiveNothingToOneThatOnlyKeepsTheConnection) {
    Inboxes inboxes;
    const auto keeper = inboxes.openKeeper(0x11);
    keeper->noteSent(hex("3E 00"), start);
    EXPECT_EQ(inboxes.receiverOf(0x11, hex("7E 00")), nullptr);
    EXPECT_EQ(inboxes.longestUntakenAt(0x11), keeper);
    EXPECT_EQ(inboxes.longestUntaken(), keeper);
}

TEST(TheInboxes, KnowWhoHasWaitedLongestAtAnAddress) {
    Inboxes inboxes;
    const auto one = inboxes.open(0x11, Answers::FromOne);
    const auto keeper = inboxes.openKeeper(0x11);
    const auto other = inboxes.open(0x12, Answers::FromOne);
    EXPECT_EQ(inboxes.longestUntakenAt(0x11), nullptr);
    other->noteSent(hex("3E 00"), start);
    EXPECT_EQ(inboxes.longestUntakenAt(0x11), nullptr);
    one->noteSent(hex("3E 00"), start + 1s);
    keeper->noteSent(hex("3E 80"), start);
    EXPECT_EQ(inboxes.longestUntakenAt(0x11), keeper);
    keeper->noteTaken();
    EXPECT_EQ(inboxes.longestUntakenAt(0x11), one);
}

TEST(TheInboxes, KnowWhetherSomebodyWaitsForMore) {
    Inboxes inboxes;
    const auto one = inboxes.open(0x11, Answers::FromOne);
    const auto other = inboxes.open(0x12, Answers::FromOne);
    EXPECT_FALSE(inboxes.isAwaited());
    inboxes.await(*one);
    inboxes.await(*one);
    inboxes.await(*other);
    inboxes.endWait(*one);
    inboxes.endWait(*one);
    EXPECT_TRUE(inboxes.isAwaited());
    inboxes.endWait(*other);
    EXPECT_FALSE(inboxes.isAwaited());
}

TEST(TheInboxes, KnowWhoHasWaitedLongestForAnAcknowledgement) {
    Inboxes inboxes;
    const auto one = inboxes.open(0x11, Answers::FromOne);
    const auto other = inboxes.open(0xE400, Answers::FromAll);
    EXPECT_EQ(inboxes.longestUntaken(), nullptr);
    one->noteSent(hex("3E 00"), start + 1s);
    other->noteSent(hex("3E 00"), start);
    EXPECT_EQ(inboxes.longestUntaken(), other);
    other->noteTaken();
    EXPECT_EQ(inboxes.longestUntaken(), one);
}

} // namespace Quarlen::Doip::Tests
