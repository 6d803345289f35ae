#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

/// JSON-RPC 2.0 over one WebSocket of the runtime's server. Used by one thread.
class RpcSession {
public:
    struct Notification {
        std::string method;
        boost::json::object params;
    };
    using OnNotification = std::function<void(const Notification& notification)>;

    /// Connects, with the token where there is one. Throws `Failure` (NotReachable, or Refused with
    /// what the server says).
    explicit RpcSession(const ServerPlace& place);
    RpcSession(const RpcSession&) = delete;
    RpcSession& operator=(const RpcSession&) = delete;
    ~RpcSession();

    /// "127.0.0.1:49152", by which the server knows this client where nothing between translates
    /// it.
    [[nodiscard]] std::string ownAddress() const;

    /// Waits for the answer. Notifications that come before it are kept. Throws `Failure`.
    boost::json::value call(const std::string& method, boost::json::object params = {});
    /// Waits for the answer and tells of each notification as it comes.
    boost::json::value call(const std::string& method, boost::json::object params,
                            const OnNotification& onNotification);
    /// Sends a call without waiting for its answer.
    std::uint64_t begin(const std::string& method, boost::json::object params = {});
    /// The answer that has come meanwhile, if any. Throws `Failure` (Refused) when it is an error.
    std::optional<boost::json::value> answerSoFar(std::uint64_t id);
    /// Waits for the next one. Throws `Failure` (NotReachable) when the server has gone.
    Notification nextNotification();

private:
    class Socket;

    /// Keeps one message, an answer or a notification.
    void receive();
    void keepNotification(const boost::json::value& method, const boost::json::value* params);
    void keepAnswer(const boost::json::object& answer);

    std::unique_ptr<Socket> socket;
    std::deque<Notification> notifications;
    std::map<std::uint64_t, boost::json::object> answers;
    std::uint64_t lastId = 0;
};

} // namespace Quarlen::Ctl
