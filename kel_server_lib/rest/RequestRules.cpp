#include "kel_server_lib/rest/RequestRules.hpp"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

#include "kel_server_lib/rest/HeaderText.hpp"
#include "kel_server_lib/rest/HttplibInternals.hpp"

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

/// Without this the library would take what follows on the connection for the body. Of a GET or
/// HEAD without a length it expects none.
void settleBodyLength(Request& request) {
    if (request.method == "GET" || request.method == "HEAD") {
        return;
    }
    if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding")) {
        request.set_header("Content-Length", "0");
    }
}

/// The library knows one spelling. HTTP/1.0 has no such expectation.
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

/// Where the body of such a request ends nobody can tell.
bool hasUnknownTransferEncoding(const Request& request) {
    return request.has_header("Transfer-Encoding") &&
           !httplib::detail::is_chunked_transfer_encoding(request.headers);
}

/// What is no number is for the library to refuse.
bool announcesTooLargeBody(const Request& request) {
    const std::string text = request.get_header_value("Content-Length");
    std::uint64_t length = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), length);
    return result.ptr == text.data() + text.size() &&
           (result.ec == std::errc::result_out_of_range ||
            (result.ec == std::errc() && length > greatestBody));
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
