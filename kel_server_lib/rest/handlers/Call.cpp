#include "kel_server_lib/rest/handlers/Call.hpp"

#include <optional>
#include <utility>

#include <httplib.h>

#include "kel_server_lib/rest/handlers/RequestBody.hpp"

namespace Quarlen::Rest {

picojson::value bodyOf(const Call& call) {
    std::optional<picojson::value> body = parseBody(call.request.body);
    if (!body) {
        throw httplib::StatusCode{httplib::StatusCode::BadRequest_400};
    }
    return *std::move(body);
}

} // namespace Quarlen::Rest
