#include "platform/OutputBuffer.hpp"

#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RecordingSink : public TextSink {
public:
    bool write(std::string_view text) override {
        texts.emplace_back(text);
        return !isFull;
    }
    [[nodiscard]] bool isScreen() const override { return screen; }

    std::vector<std::string> texts;
    bool screen = false;
    bool isFull = false;
};

class OutputBufferOf : public testing::Test {
protected:
    RecordingSink sink;
    OutputBuffer buffer{sink};
    std::ostream stream{&buffer};
};

TEST_F(OutputBufferOf, AFileKeepsTextsUntilAFlush) {
    stream << "one\n"
           << "two\n";
    EXPECT_THAT(sink.texts, IsEmpty());

    stream << std::flush;

    EXPECT_THAT(sink.texts, ElementsAre("one\ntwo\n"));
}

TEST_F(OutputBufferOf, AFileKeepsAPieceAtMost) {
    stream << std::string(OutputBuffer::pieceSize - 1, 'x');
    EXPECT_THAT(sink.texts, IsEmpty());

    stream.put('y');

    EXPECT_THAT(sink.texts, ElementsAre(std::string(OutputBuffer::pieceSize - 1, 'x') + 'y'));
}

TEST_F(OutputBufferOf, AScreenWritesWithTheEndOfALine) {
    sink.screen = true;
    stream << "Press ";
    EXPECT_THAT(sink.texts, IsEmpty());

    stream << "F1\n";

    EXPECT_THAT(sink.texts, ElementsAre("Press F1\n"));
}

TEST_F(OutputBufferOf, AnyKindWritesNothingAtAFlushWithoutText) {
    stream << std::flush;

    EXPECT_THAT(sink.texts, IsEmpty());
}

TEST_F(OutputBufferOf, AFileWritesTheRestAtTheEnd) {
    stream << "prompt";

    buffer.flushAtEnd();

    EXPECT_THAT(sink.texts, ElementsAre("prompt"));
}

TEST_F(OutputBufferOf, AFullFileDoesNotSilenceTheStream) {
    sink.isFull = true;

    stream << "one" << std::flush;
    EXPECT_TRUE(stream);
    stream << "two" << std::flush;

    EXPECT_THAT(sink.texts, ElementsAre("one", "two"));
}

TEST_F(OutputBufferOf, ALossIsToldOnceByTheFlushWhereItIsToBeTold) {
    OutputBuffer telling(sink, OutputBuffer::Losses::Told);
    std::ostream told(&telling);
    sink.isFull = true;
    told << std::string(OutputBuffer::pieceSize, 'x');
    EXPECT_TRUE(told);
    sink.isFull = false;

    told << std::flush;
    EXPECT_FALSE(told);

    told.clear();
    told << "next" << std::flush;
    EXPECT_TRUE(told);
    EXPECT_EQ(sink.texts.back(), "next");
}

/// The process ends while a thread is writing.
class EndingSink : public TextSink {
public:
    bool write(std::string_view text) override {
        written = text;
        const std::jthread end([this] { buffer->flushAtEnd(); });
        return true;
    }
    [[nodiscard]] bool isScreen() const override { return false; }

    OutputBuffer* buffer = nullptr;
    std::string written;
};

TEST(OutputBuffer, DoesNotWaitAtTheEndForAThreadThatWrites) {
    EndingSink sink;
    OutputBuffer buffer(sink);
    sink.buffer = &buffer;
    std::ostream stream(&buffer);

    stream << "text" << std::flush;

    EXPECT_EQ(sink.written, "text");
}

} // namespace

} // namespace Quarlen::Platform::Tests
