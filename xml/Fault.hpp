#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

namespace Xml {

/// `offset` counts bytes of the file from 0; line and column count from 1, columns in characters.
struct Place {
    std::size_t offset = 0;
    std::size_t line = 1;
    std::size_t column = 1;
};

/// A fault in a file and its place. A `Receiver` throws it without a place: the parser adds the
/// place of the event.
class Fault : public std::exception {
public:
    explicit Fault(std::wstring cause, Place place = {})
        : causeText(std::move(cause)), where(place) {}

    [[nodiscard]] const std::wstring& cause() const noexcept { return causeText; }
    [[nodiscard]] const Place& place() const noexcept { return where; }
    [[nodiscard]] const char* what() const noexcept override { return "Xml::Fault"; }

private:
    std::wstring causeText;
    Place where;
};

} // namespace Xml
