#include "platform/OutputBuffer.hpp"

#include <exception>
#include <utility>

namespace Quarlen::Platform {

void OutputBuffer::flushAtEnd() noexcept {
    try {
        const std::unique_lock lock(mutex, std::try_to_lock);
        if (lock.owns_lock()) {
            writeOut();
        }
    } catch (const std::exception&) {
        return; // nobody is left who could be told
    }
}

std::streamsize OutputBuffer::xsputn(const char* text, std::streamsize size) {
    const std::lock_guard lock(mutex);
    pending.append(text, static_cast<std::size_t>(size));
    if (isDue()) {
        writeOut();
    }
    return size;
}

OutputBuffer::int_type OutputBuffer::overflow(int_type letter) {
    if (!traits_type::eq_int_type(letter, traits_type::eof())) {
        const char text = traits_type::to_char_type(letter);
        xsputn(&text, 1);
    }
    return traits_type::not_eof(letter);
}

int OutputBuffer::sync() {
    const std::lock_guard lock(mutex);
    writeOut();
    return std::exchange(hasLost, false) && losses == Losses::Told ? -1 : 0;
}

bool OutputBuffer::isDue() const {
    return pending.size() >= pieceSize ||
           (pending.find('\n') != std::string::npos && sink.isScreen());
}

void OutputBuffer::writeOut() {
    if (!pending.empty()) {
        std::string text;
        text.swap(pending); // lost, whatever the sink does
        hasLost = !sink.write(text) || hasLost;
    }
}

} // namespace Quarlen::Platform
