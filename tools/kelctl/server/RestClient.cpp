#include "tools/kelctl/server/RestClient.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/HttpExchange.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

/// Of a question, and of a change: that of a button waits for the procedure that the button runs.
constexpr std::chrono::seconds shortPatience{10};
constexpr std::chrono::seconds longPatience{600};

json::value bodyOf(const HttpAnswer& answer) {
    if (answer.body.empty()) {
        return nullptr;
    }
    boost::system::error_code error;
    json::value body = json::parse(answer.body, error);
    if (error) {
        throw Failure(ExitCode::Refused, "the server's answer is no JSON: " + error.message());
    }
    return body;
}

/// The runtime's failures have a text; others have a status only.
std::string causeOf(const HttpAnswer& answer) {
    boost::system::error_code error;
    const json::value body = json::parse(answer.body, error);
    const json::object* const object = error ? nullptr : body.if_object();
    const json::value* const message = object ? object->if_contains("errorMessage") : nullptr;
    return message != nullptr && message->is_string()
               ? std::string(message->get_string())
               : std::to_string(answer.status) + " " + answer.reason;
}

} // namespace

json::value RestClient::get(const std::string& path) const {
    return send("GET", path, {});
}

json::value RestClient::put(const std::string& path, const std::optional<json::value>& body) const {
    return send("PUT", path, body ? json::serialize(*body) : std::string());
}

json::value RestClient::send(const std::string& method, const std::string& path,
                             const std::string& body) const {
    const HttpAnswer answer = [&] {
        try {
            return exchangeHttp({.host = place.host,
                                 .port = place.restPort,
                                 .method = method,
                                 .target = "/kel/v1" + path,
                                 .body = body,
                                 .patience = method == "GET" ? shortPatience : longPatience});
        } catch (const Failure& failure) {
            throw Failure(failure.code(),
                          std::string(failure.what()) +
                              "; the REST API is there on the server's own machine, "
                              "when the server runs with --REST");
        }
    }();
    if (answer.status != httpOk) {
        throw Failure(ExitCode::Refused, causeOf(answer));
    }
    return bodyOf(answer);
}

} // namespace Quarlen::Ctl
