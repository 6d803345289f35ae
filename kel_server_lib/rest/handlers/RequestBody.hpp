#pragma once

#include <optional>
#include <string>

#include <picojson.h>

namespace Quarlen::Rest {

/// The body as one JSON value; nothing when it does not parse. Arrays and objects nested deeper
/// than 64 do not parse: the parser recurses, and a request must not be able to end the process.
/// Text after the value is not looked at. A number that no double can hold throws
/// `std::overflow_error`.
std::optional<picojson::value> parseBody(const std::string& body);

/// The member of an object. Throws `std::runtime_error` ("type mismatch ...") when the value is no
/// object and `std::out_of_range` when it has no such member.
const picojson::value& member(const picojson::value& object, const std::string& key);

/// The value's text form: a string as it is, a number in the "%.17g" form, "true", "null", "array"
/// ... A text that is no valid UTF-8 gives the empty text.
std::wstring textOf(const picojson::value& value);

} // namespace Quarlen::Rest
