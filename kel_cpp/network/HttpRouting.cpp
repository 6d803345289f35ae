#include <string_view>
#include <utility>

#include <boost/beast/core/string.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include "kel_cpp/network/HttpConnection.hpp"
#include "kel_cpp/network/WebSocketConnection.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace http = boost::beast::http;

namespace {

constexpr const char* htmlText = "text/html; charset=utf-8";
constexpr const char* jsonText = "application/json";
/// A report has no scripts; whatever a vehicle says in it stays text.
constexpr const char* reportPolicy =
    "default-src 'none'; style-src 'unsafe-inline'; img-src data:; frame-ancestors 'none'; sandbox";
constexpr std::string_view reportsFolder = "/reports/";

std::string decoded(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto digit = [](char letter) {
            return std::string_view("0123456789abcdef").find(static_cast<char>(letter | 0x20));
        };
        const bool isCode = text[at] == '%' && at + 2 < text.size() && digit(text[at + 1]) < 16 &&
                            digit(text[at + 2]) < 16;
        if (isCode) {
            plain += static_cast<char>(digit(text[at + 1]) * 16 + digit(text[at + 2]));
            at += 2;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

/// The token of "Authorization: Bearer TOKEN"; empty when there is none. Upper and lower case of
/// the scheme are one (RFC 9110, 11.1).
std::string bearerToken(std::string_view field) {
    constexpr std::string_view scheme = "Bearer ";
    return boost::beast::iequals(field.substr(0, scheme.size()), scheme)
               ? std::string(field.substr(scheme.size()))
               : std::string();
}

} // namespace

/// Who sent a one-shot call.
class HttpConnection::Caller final : public RpcClient {
public:
    Caller(std::wstring name, Role role) : callerName(std::move(name)), granted(role) {}

    [[nodiscard]] std::wstring name() const override { return callerName; }
    [[nodiscard]] Role role() const override { return granted; }
    void logIn(Role role, const std::wstring& /*tokenName*/) override { granted = role; }
    [[nodiscard]] bool canSubscribe() const override { return false; }
    void subscribe(const StatusEntry& /*present*/) override {}
    void unsubscribe() override {}

private:
    const std::wstring callerName;
    Role granted;
};

RequestOrigin HttpConnection::origin() const {
    RequestOrigin origin;
    origin.fromLoopback = peer.address().is_loopback();
    origin.forwarded =
        request.count(http::field::forwarded) > 0 || request.count("X-Forwarded-For") > 0;
    origin.host = std::string(request[http::field::host]);
    origin.origin = std::string(request[http::field::origin]);
    return origin;
}

OwnNames HttpConnection::ownNames() const {
    OwnNames names{{own.address().to_string(), served.host}, std::to_string(own.port())};
    if (own.address().is_loopback()) {
        names.hosts.emplace_back("localhost");
    }
    names.hosts.insert(names.hosts.end(), context.machineNames.begin(), context.machineNames.end());
    return names;
}

bool HttpConnection::authenticate() {
    identify(Role::None, {});
    if (isLocal(origin())) {
        identify(Role::Control, {});
        return true;
    }
    if (!context.tokens.areConfigured()) {
        fail(Status::forbidden, "only clients on the server's own machine may use it");
        return false;
    }
    const std::string given = bearerToken(request[http::field::authorization]);
    if (given.empty()) {
        return true;
    }
    const auto grant = context.tokens.find(given);
    if (!grant) {
        stream.expires_never();
        afterPenalty(context,
                     [self = shared_from_this()] { self->fail(Status::unauthorized, wrongToken); });
        return false;
    }
    identify(grant->role, grant->name);
    return true;
}

void HttpConnection::identify(Role granted, const std::wstring& tokenName) {
    role = granted;
    isStrange = role == Role::None;
    if (token != tokenName) {
        token = tokenName;
        context.clients.rename(id, callerName());
    }
}

std::wstring HttpConnection::callerName() const {
    return token.empty() ? peerName : token + L" " + peerName;
}

void HttpConnection::route() {
    const std::string target(request.target());
    const std::string path = target.substr(0, target.find('?'));
    if (path == "/rpc" && boost::beast::websocket::is_upgrade(request)) {
        upgrade();
    } else if (path == "/rpc" && request.method() == http::verb::post) {
        call();
    } else if (path == "/rpc") {
        fail(Status::method_not_allowed, "/rpc takes POST and WebSockets");
    } else if (request.method() != http::verb::get && request.method() != http::verb::head) {
        fail(Status::method_not_allowed, path + " takes GET");
    } else {
        serve(path);
    }
}

void HttpConnection::serve(const std::string& path) {
    if (path == "/") {
        servePage();
    } else if (path.compare(0, reportsFolder.size(), reportsFolder) == 0) {
        serveReport(decoded(std::string_view(path).substr(reportsFolder.size())));
    } else {
        fail(Status::not_found, "there is no " + path);
    }
}

/// For everybody who may connect: it shows nothing before it has logged in.
void HttpConnection::servePage() {
    Response answer = response(Status::ok, htmlText, context.page.html);
    answer.set("Content-Security-Policy", context.page.policy);
    send(std::move(answer));
}

void HttpConnection::serveReport(const std::string& name) {
    if (role < Role::Watch) {
        fail(Status::unauthorized, "a report needs a token");
        return;
    }
    const auto task = [this, self = weak_from_this(), name, &model = context.model] {
        const auto connection = self.lock();
        if (!connection) {
            return;
        }
        try {
            Response answer =
                response(Status::ok, htmlText, model.report(Platform::fromUtf8(name)));
            answer.set("Content-Security-Policy", reportPolicy);
            sendLater(std::move(answer));
        } catch (const std::exception&) {
            sendLater(response(Status::not_found, plainText, "there is no such report\n"));
        }
    };
    try {
        context.tasks.query(task);
    } catch (const RpcError& error) {
        fail(Status::service_unavailable, error.what());
    }
}

void HttpConnection::call() {
    if (role == Role::None) {
        fail(Status::unauthorized, "a call needs a token");
        return;
    }
    const auto caller = std::make_shared<Caller>(callerName(), role);
    context.rpc.handle(request.body(), caller, [weak = weak_from_this()](std::string text) {
        if (const auto self = weak.lock()) {
            self->sendLater(text.empty() ? self->response(Status::no_content, {}, {})
                                         : self->response(Status::ok, jsonText, std::move(text)));
        }
    });
}

void HttpConnection::upgrade() {
    const auto socket = std::make_shared<WebSocketConnection>(std::move(stream), context, id,
                                                              peerName, role, std::move(token));
    if (context.clients.replace(id, socket)) {
        socket->begin(std::move(request));
    }
}

} // namespace Quarlen::Kel_cpp
