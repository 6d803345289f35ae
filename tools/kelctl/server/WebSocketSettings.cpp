#include "tools/kelctl/server/WebSocketSettings.hpp"

#include <boost/beast/http/field.hpp>

#include "tools/kelctl/server/Transport.hpp"

namespace Quarlen::Ctl {

namespace websocket = boost::beast::websocket;

void prepareWebSocket(websocket::stream<boost::beast::tcp_stream>& stream, const ServerPlace& place,
                      std::chrono::seconds maxSilence, std::size_t maxMessage) {
    websocket::stream_base::timeout times{};
    times.handshake_timeout = connectTime;
    times.idle_timeout = maxSilence;
    times.keep_alive_pings = true;
    stream.set_option(times);
    stream.read_message_max(maxMessage);
    stream.set_option(
        websocket::stream_base::decorator([token = place.token](websocket::request_type& request) {
            if (!token.empty()) {
                request.set(boost::beast::http::field::authorization, "Bearer " + token);
            }
        }));
}

std::string refusalOf(const websocket::response_type& response) {
    std::string text = response.body();
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    return text.empty() ? std::to_string(response.result_int()) : text;
}

} // namespace Quarlen::Ctl
