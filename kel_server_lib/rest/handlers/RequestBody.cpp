#include "kel_server_lib/rest/handlers/RequestBody.hpp"

#include <cstddef>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Rest {

namespace {

constexpr std::size_t maxDepth = 64;

/// Builds a value like the library's own context, which counts the depth of arrays but not that of
/// objects.
class BoundedContext {
public:
    BoundedContext(picojson::value& out, std::size_t depth) : out(out), depthLeft(depth) {}

    bool set_null() { return assign(picojson::value()); }
    bool set_bool(bool flag) { return assign(picojson::value(flag)); }
    bool set_number(double number) { return assign(picojson::value(number)); }

    template <class Iterator>
    bool parse_string(picojson::input<Iterator>& input) {
        out = picojson::value(picojson::string_type, false);
        return picojson::_parse_string(out.get<std::string>(), input);
    }

    bool parse_array_start() {
        return depthLeft > 0 && assign(picojson::value(picojson::array_type, false));
    }
    template <class Iterator>
    bool parse_array_item(picojson::input<Iterator>& input, std::size_t /*index*/) {
        auto& items = out.get<picojson::array>();
        items.emplace_back();
        return parseNested(items.back(), input);
    }
    bool parse_array_stop(std::size_t /*count*/) { return true; }

    bool parse_object_start() {
        return depthLeft > 0 && assign(picojson::value(picojson::object_type, false));
    }
    template <class Iterator>
    bool parse_object_item(picojson::input<Iterator>& input, const std::string& key) {
        return parseNested(out.get<picojson::object>()[key], input);
    }
    bool parse_object_stop() { return true; }

private:
    bool assign(picojson::value value) {
        out.swap(value);
        return true;
    }

    template <class Iterator>
    bool parseNested(picojson::value& nested, picojson::input<Iterator>& input) {
        BoundedContext context(nested, depthLeft - 1);
        return picojson::_parse(context, input);
    }

    picojson::value& out;
    std::size_t depthLeft;
};

} // namespace

std::optional<picojson::value> parseBody(const std::string& body) {
    picojson::value value;
    BoundedContext context(value, maxDepth);
    std::string error;
    picojson::_parse(context, body.begin(), body.end(), &error);
    if (!error.empty()) {
        return std::nullopt;
    }
    return value;
}

const picojson::value& member(const picojson::value& object, const std::string& key) {
    return object.get<picojson::object>().at(key);
}

std::wstring textOf(const picojson::value& value) {
    return Platform::fromUtf8(value.to_str());
}

} // namespace Quarlen::Rest
