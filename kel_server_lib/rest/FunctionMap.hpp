#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kel_server_lib/rest/handlers/Call.hpp"

namespace Quarlen::Rest {

/// Routes as a tree of path segments. A lookup costs one hash per segment, however many routes
/// there are. Built before the server listens, then only read: no lock.
class FunctionMap {
public:
    struct EndNode {
        Handler handler;
        /// 0-based indexes of the parameter segments within the key, in order.
        std::vector<std::size_t> parameterPositions;
        /// Without the marker "VAR_", in the same order.
        std::vector<std::string> parameterNames;
    };

    FunctionMap();
    FunctionMap(const FunctionMap&) = delete;
    FunctionMap(FunctionMap&&) noexcept;
    FunctionMap& operator=(const FunctionMap&) = delete;
    FunctionMap& operator=(FunctionMap&&) noexcept;
    ~FunctionMap();

    /// `key` is the method word and the path below the prefix, for example
    /// "put/scripts/VAR_BUTTON". Adding a key again replaces its handler.
    void add(std::string_view key, Handler handler);

    /// Null when there is no such route. A literal segment wins over a parameter at its place, also
    /// when the walk then fails further on.
    [[nodiscard]] const EndNode* find(const std::vector<std::string>& segments) const;

private:
    struct Node;
    std::unique_ptr<Node> root;
};

/// The end node's parameter names with the request's segments at their positions.
PathParameters parameterValues(const FunctionMap::EndNode& route,
                               const std::vector<std::string>& segments);

/// Splits at every separator; doubled or trailing ones give empty pieces.
std::vector<std::string> splitPath(std::string_view path);

} // namespace Quarlen::Rest
