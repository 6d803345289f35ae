#include "kel_cpp/rpc/Schemas.hpp"

#include <initializer_list>
#include <string_view>
#include <utility>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

namespace Quarlen::Kel_cpp::Schemas {

namespace json = boost::json;

namespace {

using Members = std::initializer_list<std::pair<std::string_view, json::value>>;

json::object record(Members members) {
    json::array names;
    json::object properties;
    for (const auto& [name, schema] : members) {
        names.emplace_back(name);
        properties.emplace(name, schema);
    }
    return {
        {"type", "object"}, {"required", std::move(names)}, {"properties", std::move(properties)}};
}

json::value listOf(json::value schema) {
    return {{"type", "array"}, {"items", std::move(schema)}};
}

json::value oneOf(json::array values) {
    return json::object{{"enum", std::move(values)}};
}

json::value yesOrNo() {
    return json::object{{"type", "boolean"}};
}

json::value time() {
    return {{"type", "string"}, {"format", "date-time"}};
}

json::value jobKind() {
    return oneOf({"service", "procedure", "quickTest", "flash"});
}

json::value job() {
    const json::value item = record({{"name", text()}, {"passed", yesOrNo()}, {"text", text()}});
    return record({{"kind", jobKind()},
                   {"name", text()},
                   {"begin", time()},
                   {"end", timeOrNull()},
                   {"outcome", oneOf({"passed", "failed", "cancelled", nullptr})},
                   {"summary", text()},
                   {"items", listOf(item)}});
}

json::value progressIn(json::array units) {
    return record({{"kind", jobKind()},
                   {"controlUnit", text()},
                   {"unit", oneOf(std::move(units))},
                   {"done", count()},
                   {"total", count()},
                   {"job", count()}});
}

} // namespace

json::value alwaysTrue() {
    return json::object{{"const", true}};
}

json::value count() {
    return {{"type", "integer"}, {"minimum", 0}};
}

json::value text() {
    return json::object{{"type", "string"}};
}

json::value texts() {
    return listOf(text());
}

json::value timeOrNull() {
    return {{"type", json::array{"string", "null"}}, {"format", "date-time"}};
}

json::value description() {
    const json::value objects = listOf(json::object{{"type", "object"}});
    return record({{"openrpc", text()},
                   {"info", record({{"title", text()}, {"version", text()}})},
                   {"methods", objects},
                   {"x-notifications", objects}});
}

json::value handled() {
    return record({{"handled", yesOrNo()}});
}

json::value login() {
    return record({{"role", oneOf({"watch", "control"})}, {"name", text()}});
}

json::value progress() {
    return progressIn({"bytes", "units"});
}

json::value progressOfJobs() {
    // A procedure or a service has no unit: it tells nothing before its end.
    return listOf(progressIn({"bytes", "units", ""}));
}

json::value reports() {
    return listOf(record({{"name", text()}, {"bytes", count()}, {"time", time()}}));
}

json::value role() {
    return oneOf({"none", "watch", "control"});
}

json::value run() {
    json::object schema = runSummary().as_object();
    const json::object more = record({{"statuses", statuses()},
                                      {"statusesLeftOut", count()},
                                      {"jobs", listOf(job())},
                                      {"exceptions", texts()}});
    for (const auto& [name, member] : more.at("properties").as_object()) {
        schema.at("required").as_array().emplace_back(name);
        schema.at("properties").as_object().emplace(name, member);
    }
    return schema;
}

json::value runSummary() {
    return record({{"id", count()},
                   {"name", text()},
                   {"client", text()},
                   {"begin", time()},
                   {"end", timeOrNull()},
                   {"outcome", oneOf({"clean", "failed", "findings", "cancelled", nullptr})},
                   {"reports", texts()}});
}

json::value runSummaries() {
    return listOf(runSummary());
}

json::value status() {
    return record({{"text", text()}, {"time", time()}, {"number", count()}});
}

json::value statuses() {
    return listOf(status());
}

json::value vehicle() {
    return record({{"project", text()}, {"vehicleInformation", text()}, {"interface", text()}});
}

json::value waitingStarts() {
    return listOf(record({{"name", text()}, {"client", text()}, {"since", time()}}));
}

} // namespace Quarlen::Kel_cpp::Schemas
