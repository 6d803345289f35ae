#pragma once

#include <cstddef>
#include <span>

namespace Quarlen::Rest {

/// Takes a header Range that HTTP tells to ignore (RFC 9110, 14.2) out of a request: one of another
/// method than GET and HEAD, and one in another unit than bytes. The HTTP library would refuse the
/// request or, once its handler has been called, the reply. Works in place on the bytes of a
/// connection as they arrive and never changes their number: the header gets a name that has no
/// meaning.
class RangeFilter {
public:
    /// The next bytes are a request line.
    void beginRequest();

    /// How many of the bytes may be passed on, from the first. The others begin a line whose end is
    /// still missing; they have to be given again with more bytes behind them. A line that is
    /// longer than the buffer (`room` is false) is passed on in pieces.
    [[nodiscard]] std::size_t pass(std::span<char> bytes, bool room);

private:
    enum class Place { RequestLine, Header, WithinLine, Body };

    std::size_t passPiece(std::span<char> bytes);
    void look(std::span<char> line);
    void lookAtHeader(std::span<char> line) const;

    Place place = Place::Body;
    bool servesRanges = false;
};

} // namespace Quarlen::Rest
