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

    /// Writes as much of the UTF-8 text as it can; what is left is lost. False when something is;
    /// `errno` then is EPIPE where the reader has gone. One call at a time.
    virtual bool write(std::string_view text) = 0;
    /// A person sees the text as soon as it is written.
    [[nodiscard]] virtual bool isScreen() const = 0;
};

/// Hands texts to a sink: on a screen with each line's end, elsewhere in larger pieces, and always
/// at a flush. A text that the sink could not write is lost and the next one is tried again. Any
/// thread may write.
class OutputBuffer final : public std::streambuf {
public:
    /// The bytes that are kept until a flush where nobody looks on.
    static constexpr std::size_t pieceSize = std::size_t{16} * 1024;

    enum class Losses {
        /// The stream never fails: one that has failed would stay silent until somebody clears it.
        Hidden,
        /// A flush fails when something was lost since the last one.
        Told
    };

    /// `sink` must outlive the buffer.
    explicit OutputBuffer(TextSink& sink, Losses losses = Losses::Hidden)
        : sink(sink), losses(losses) {}

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
    const Losses losses;
    std::string pending;
    bool hasLost = false;
};

} // namespace Quarlen::Platform
