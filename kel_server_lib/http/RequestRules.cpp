#include "kel_server_lib/http/RequestRules.hpp"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

#include "kel_server_lib/http/HeaderText.hpp"

namespace Quarlen::Rest {

namespace {

using httplib::Request;
using httplib::StatusCode;

void replaceHeader(Request& request, const std::string& name, const std::string& value) {
    request.headers.erase(name);
    request.set_header(name, value);
}

/// The library would look for form fields in a body, with limits of their own, or try to unpack it.
void forgetBodyType(Request& request) {
    request.headers.erase("Content-Type");
    request.headers.erase("Content-Encoding");
}

/// Without a length the library would take the next request for the body. Of a GET or HEAD without
/// a length it expects no body.
void settleBodyLength(Request& request) {
    if (request.method == "GET" || request.method == "HEAD") {
        return;
    }
    if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding")) {
        request.set_header("Content-Length", "0");
    }
}

/// The library knows one spelling of the expectation. HTTP/1.0 has none.
void settleExpectation(Request& request) {
    const bool expectsGoOn = hasElement(request, "Expect", "100-continue");
    request.headers.erase("Expect");
    if (expectsGoOn && request.version != "HTTP/1.0") {
        request.set_header("Expect", "100-continue");
    }
}

bool wantsClose(const Request& request) {
    if (hasElement(request, "Connection", "close")) {
        return true;
    }
    return request.version == "HTTP/1.0" && !hasElement(request, "Connection", "keep-alive");
}

/// The end of a body with such an encoding cannot be found.
bool hasUnknownTransferEncoding(const Request& request) {
    return request.has_header("Transfer-Encoding") &&
           !isSameText(request.get_header_value("Transfer-Encoding"), "chunked");
}

/// A length that is no number is refused by the library.
bool announcesTooLargeBody(const Request& request) {
    const std::string text = request.get_header_value("Content-Length");
    std::uint64_t length = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), length);
    return result.ptr == text.data() + text.size() &&
           (result.ec == std::errc::result_out_of_range ||
            (result.ec == std::errc() && length > maxBodySize));
}

} // namespace

bool settle(Request& request) {
    forgetBodyType(request);
    settleBodyLength(request);
    settleExpectation(request);
    const bool ends = wantsClose(request);
    if (ends) {
        replaceHeader(request, "Connection", "close");
    }
    return ends;
}

std::optional<StatusCode> refusalOf(const Request& request) {
    if (hasUnknownTransferEncoding(request)) {
        return StatusCode::NotImplemented_501;
    }
    if (announcesTooLargeBody(request)) {
        return StatusCode::PayloadTooLarge_413;
    }
    return std::nullopt;
}

} // namespace Quarlen::Rest
