#include "kel_server_lib/rest/FunctionMap.hpp"

#include <optional>
#include <unordered_map>
#include <utility>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Rest {

namespace {

constexpr std::string_view parameterMarker = "VAR_";

/// The key of the parameter child among the literal children: a marked segment is stored under the
/// empty text.
const std::string parameterChild;

} // namespace

struct FunctionMap::Node {
    std::unordered_map<std::string, std::unique_ptr<Node>> children;
    std::optional<EndNode> end;

    Node& childFor(const std::string& text) {
        auto& child = children[text];
        if (!child) {
            child = std::make_unique<Node>();
        }
        return *child;
    }

    [[nodiscard]] const Node* find(const std::string& text) const {
        auto child = children.find(text);
        if (child == children.end()) {
            child = children.find(parameterChild);
        }
        return child == children.end() ? nullptr : child->second.get();
    }
};

FunctionMap::FunctionMap() : root(std::make_unique<Node>()) {}
FunctionMap::FunctionMap(FunctionMap&&) noexcept = default;
FunctionMap& FunctionMap::operator=(FunctionMap&&) noexcept = default;
FunctionMap::~FunctionMap() = default;

void FunctionMap::add(std::string_view key, Handler handler) {
    EndNode end{std::move(handler), {}, {}};
    Node* node = root.get();
    const std::vector<std::string> segments = splitPath(key);
    for (std::size_t position = 0; position < segments.size(); ++position) {
        const std::string& segment = segments[position];
        if (segment.starts_with(parameterMarker)) {
            end.parameterPositions.push_back(position);
            end.parameterNames.push_back(segment.substr(parameterMarker.size()));
            node = &node->childFor(parameterChild);
        } else {
            node = &node->childFor(segment);
        }
    }
    node->end = std::move(end);
}

const FunctionMap::EndNode* FunctionMap::find(const std::vector<std::string>& segments) const {
    const Node* node = root.get();
    for (const std::string& segment : segments) {
        node = node->find(segment);
        if (node == nullptr) {
            return nullptr;
        }
    }
    return node->end ? &*node->end : nullptr;
}

PathParameters parameterValues(const FunctionMap::EndNode& route,
                               const std::vector<std::string>& segments) {
    PathParameters values;
    for (std::size_t index = 0; index < route.parameterPositions.size(); ++index) {
        values.insert_or_assign(Platform::fromUtf8(route.parameterNames[index]),
                                Platform::fromUtf8(segments.at(route.parameterPositions[index])));
    }
    return values;
}

std::vector<std::string> splitPath(std::string_view path) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = path.find('/', begin);
        pieces.emplace_back(path.substr(begin, end - begin));
        if (end == std::string_view::npos) {
            return pieces;
        }
        begin = end + 1;
    }
}

} // namespace Quarlen::Rest
