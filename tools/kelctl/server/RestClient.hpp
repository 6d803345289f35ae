#pragma once

#include <optional>
#include <string>

#include <boost/json/value.hpp>

#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

/// The REST API of one server. Each call has a connection of its own.
class RestClient {
public:
    explicit RestClient(ServerPlace place) : place(std::move(place)) {}

    /// `path` begins behind "/kel/v1". Null where the answer has no body. Throws `Failure`:
    /// NotReachable, or Refused with the cause that the server tells.
    [[nodiscard]] boost::json::value get(const std::string& path) const;
    /// As `get`, where the answer itself says nothing.
    void require(const std::string& path) const { static_cast<void>(get(path)); }
    boost::json::value put(const std::string& path,
                           const std::optional<boost::json::value>& body = {}) const;

private:
    [[nodiscard]] boost::json::value send(const std::string& method, const std::string& path,
                                          const std::string& body) const;

    ServerPlace place;
};

} // namespace Quarlen::Ctl
