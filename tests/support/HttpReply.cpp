#include "tests/support/HttpReply.hpp"

#include <chrono>
#include <locale>

#include <httplib.h>

namespace Quarlen::Tests {

namespace {

/// The C++ library fills the tables by which its regular expressions read their patterns at first
/// use and without a lock, and the HTTP client makes such an expression on each of its threads.
[[maybe_unused]] const bool characterTablesFilled = [] {
    const auto& characters = std::use_facet<std::ctype<char>>(std::locale());
    const char letter = 'a';
    char copy = 0;
    characters.widen(&letter, &letter + 1, &copy);
    characters.narrow(&letter, &letter + 1, ' ', &copy);
    return copy == letter;
}();

} // namespace

HttpReply request(std::uint16_t port, const std::string& method, const std::string& path,
                  const std::string& body, const std::string& address) {
    httplib::Client client(address, port);
    client.set_read_timeout(std::chrono::seconds(60));
    client.set_path_encode(false);
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    const httplib::Result result = client.send(request);
    if (!result) {
        return {0, httplib::to_string(result.error()), {}, {}};
    }
    return {result->status,
            result->reason,
            result->body,
            {result->headers.begin(), result->headers.end()}};
}

} // namespace Quarlen::Tests
