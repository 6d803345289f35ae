#include "kel_server_lib/http/RangeFilter.hpp"

#include <algorithm>
#include <string_view>

#include "kel_server_lib/http/HeaderText.hpp"

namespace Quarlen::Rest {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view name = "range:";
constexpr std::string_view unit = "bytes=";

std::string_view viewOf(std::span<char> bytes) {
    return {bytes.data(), bytes.size()};
}

/// Where the header's value begins.
std::size_t valueOf(std::string_view line) {
    return std::min(line.find_first_not_of(" \t", name.size()), line.size());
}

} // namespace

void RangeFilter::beginRequest() {
    place = Place::RequestLine;
}

std::size_t RangeFilter::pass(std::span<char> bytes, bool room) {
    std::size_t passed = 0;
    while (place != Place::Body) {
        const std::size_t end = viewOf(bytes).find(lineEnd, passed);
        if (end == std::string_view::npos) {
            return passed == 0 && !room ? passPiece(bytes) : passed;
        }
        look(bytes.subspan(passed, end - passed));
        passed = end + lineEnd.size();
    }
    return bytes.size();
}

std::size_t RangeFilter::passPiece(std::span<char> bytes) {
    look(bytes);
    place = Place::WithinLine;
    // A carriage return at the end may be the first half of the line's end.
    return bytes.size() - (bytes.back() == lineEnd.front() ? 1 : 0);
}

void RangeFilter::look(std::span<char> line) {
    if (place == Place::RequestLine) {
        const std::string_view text = viewOf(line);
        servesRanges = text.starts_with("GET ") || text.starts_with("HEAD ");
    } else if (place == Place::Header) {
        if (line.empty()) {
            place = Place::Body;
            return;
        }
        lookAtHeader(line);
    }
    place = Place::Header;
}

void RangeFilter::lookAtHeader(std::span<char> line) const {
    const std::string_view text = viewOf(line);
    if (!isSameText(text.substr(0, name.size()), name)) {
        return;
    }
    const std::size_t value = valueOf(text);
    if (servesRanges && isSameText(text.substr(value, unit.size()), unit)) {
        std::copy(unit.begin(), unit.end(), line.begin() + static_cast<std::ptrdiff_t>(value));
    } else {
        line.front() = '-';
    }
}

} // namespace Quarlen::Rest
