#pragma once

#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>

namespace Quarlen::Platform {

/// Where the bytes of a standard stream go.
class TextSink {
public:
    TextSink() = default;
    TextSink(const TextSink&) = delete;
    TextSink& operator=(const TextSink&) = delete;
    virtual ~TextSink() = default;

    /// Writes as much of the UTF-8 text as it can; what is left is lost. One call at a time.
    virtual void write(std::string_view text) = 0;
    /// A person sees the text as soon as it is written.
    [[nodiscard]] virtual bool isScreen() const = 0;
};

/// Hands texts to a sink: on a screen with each line's end, elsewhere in larger pieces, and always
/// at a flush. A text that the sink could not write is lost and the next one is tried again: the
/// stream never fails, because a stream that has failed once would stay silent for ever. Any thread
/// may write.
class OutputBuffer final : public std::streambuf {
public:
    /// The bytes that are kept until a flush where nobody looks on.
    static constexpr std::size_t pieceSize = std::size_t{16} * 1024;

    /// `sink` must outlive the buffer.
    explicit OutputBuffer(TextSink& sink) : sink(sink) {}

    /// The process ends: writes what is left, but does not wait for a thread that is just writing.
    void flushAtEnd() noexcept;

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type letter) override;
    int sync() override;

private:
    [[nodiscard]] bool isDue() const;
    void writeOut();

    std::mutex mutex;
    TextSink& sink;
    std::string pending;
};

} // namespace Quarlen::Platform
