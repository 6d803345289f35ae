#include "kel_cpp/rpc/JsonRpc.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace json = boost::json;

namespace {

constexpr const char* version = "2.0";
constexpr std::size_t responseMembers = 3;

json::object errorObject(const RpcError& error) {
    json::object object{{"code", static_cast<std::int32_t>(error.code())},
                        {"message", error.what()}};
    if (error.code() == RpcErrorCode::Runtime) {
        object["data"] = json::object{{"errorCode", error.runtimeCode()}};
    }
    return object;
}

/// Only inside a catch block.
json::object currentErrorObject() {
    try {
        throw;
    } catch (const RpcError& error) {
        return errorObject(error);
    } catch (const KelApiException& error) {
        return errorObject(
            RpcError(RpcErrorCode::Runtime, Platform::toUtf8(error.message()), error.code()));
    } catch (...) {
        return errorObject(
            RpcError(RpcErrorCode::InternalError, Platform::toUtf8(currentExceptionText())));
    }
}

json::object response(json::object outcome, json::value id) {
    outcome["jsonrpc"] = version;
    outcome["id"] = std::move(id);
    return outcome;
}

std::string failedText(const RpcError& error) {
    return json::serialize(response({{"error", errorObject(error)}}, nullptr));
}

/// The value lives in `memory`, and so does what is copied of it without another storage; a small
/// one takes nothing from the heap.
json::value parse(std::string_view message, json::monotonic_resource& memory) {
    json::parse_options options;
    options.max_depth = JsonRpc::maxDepth;
    json::error_code error;
    json::value value = json::parse({message.data(), message.size()}, error, &memory, options);
    if (error) {
        throw RpcError(RpcErrorCode::ParseError, "the message is no JSON: " + error.message());
    }
    return value;
}

/// The identifier of a request, or null when it has none that the protocol knows.
json::value idOf(const json::value& request) {
    const json::object* const object = request.if_object();
    const json::value* const id = object != nullptr ? object->if_contains("id") : nullptr;
    return id != nullptr && (id->is_string() || id->is_number())
               ? json::value(*id, json::storage_ptr())
               : json::value();
}

void checkRequest(const json::value& request) {
    const auto fail = [](const char* cause) {
        throw RpcError(RpcErrorCode::InvalidRequest, cause);
    };
    const json::object* const object = request.if_object();
    if (object == nullptr) {
        fail("a request is an object");
    }
    const json::value* const said = object->if_contains("jsonrpc");
    if (said == nullptr || !said->is_string() || said->get_string() != version) {
        fail("a request has the member \"jsonrpc\" with the text \"2.0\"");
    }
    const json::value* const method = object->if_contains("method");
    if (method == nullptr || !method->is_string()) {
        fail("a request has the member \"method\" with a text");
    }
    const json::value* const id = object->if_contains("id");
    if (id != nullptr && !id->is_string() && !id->is_number() && !id->is_null()) {
        fail("the member \"id\" is a text, a number or null");
    }
}

json::object paramsOf(const json::object& request) {
    const json::value* const params = request.if_contains("params");
    if (params == nullptr) {
        return {};
    }
    if (const json::object* const named = params->if_object()) {
        return json::object(*named, json::storage_ptr());
    }
    if (const json::array* const listed = params->if_array();
        listed != nullptr && listed->empty()) {
        return {};
    }
    throw RpcError(params->is_array() ? RpcErrorCode::InvalidParams : RpcErrorCode::InvalidRequest,
                   "parameters are given by name, as an object");
}

/// Puts the responses of a batch together, in the order in which they come.
class Batch {
public:
    Batch(std::size_t requests, JsonRpc::Reply reply)
        : missing(requests), reply(std::move(reply)) {}

    /// An empty object stands for a request without a response.
    void add(json::object one) {
        const std::lock_guard lock(mutex);
        if (!one.empty()) {
            responses.push_back(std::move(one));
        }
        if (--missing == 0) {
            reply(responses.empty() ? std::string() : json::serialize(responses));
        }
    }

private:
    std::mutex mutex;
    std::size_t missing;
    json::array responses;
    JsonRpc::Reply reply;
};

} // namespace

const json::value& RpcParams::required(std::string_view name) const {
    const json::value* const value = values.if_contains(name);
    if (value == nullptr) {
        throw RpcError(RpcErrorCode::InvalidParams,
                       "the parameter \"" + std::string(name) + "\" is missing");
    }
    return *value;
}

std::wstring RpcParams::text(std::string_view name) const {
    const json::value& value = required(name);
    if (!value.is_string()) {
        throw RpcError(RpcErrorCode::InvalidParams,
                       "the parameter \"" + std::string(name) + "\" is a text");
    }
    return Platform::fromUtf8(std::string(value.get_string()));
}

std::uint64_t RpcParams::number(std::string_view name) const {
    json::error_code error;
    const auto number = required(name).to_number<std::uint64_t>(error);
    if (error) {
        throw RpcError(RpcErrorCode::InvalidParams,
                       "the parameter \"" + std::string(name) + "\" is a whole number from 0 on");
    }
    return number;
}

void RpcParams::allowOnly(std::initializer_list<std::string_view> names) const {
    for (const auto& entry : values) {
        const std::string_view name(entry.key().data(), entry.key().size());
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            throw RpcError(RpcErrorCode::InvalidParams,
                           "there is no parameter \"" + std::string(name) + "\"");
        }
    }
}

void RpcAnswer::result(json::value value) const {
    (*send)(json::object({{"result", std::move(value)}}, responseMembers));
}

void RpcAnswer::failure(const std::exception_ptr& exception) const {
    try {
        std::rethrow_exception(exception);
    } catch (...) {
        (*send)({{"error", currentErrorObject()}});
    }
}

JsonRpc::JsonRpc(std::vector<RpcMethod> list) {
    for (RpcMethod& method : list) {
        std::string name = method.name;
        methods.emplace(std::move(name), std::move(method));
    }
}

void JsonRpc::handle(std::string_view message, const std::shared_ptr<RpcClient>& client,
                     const Reply& reply) const {
    // What outlives the message is copied out of this.
    std::array<unsigned char, 2048> onStack{};
    json::monotonic_resource memory(onStack.data(), onStack.size());
    try {
        const json::value parsed = parse(message, memory);
        if (const json::array* const batch = parsed.if_array()) {
            handleBatch(*batch, client, reply);
            return;
        }
        handleRequest(parsed, client, [reply](const json::object& one) {
            reply(one.empty() ? std::string() : json::serialize(one));
        });
    } catch (const RpcError& error) {
        reply(failedText(error));
    }
}

void JsonRpc::handleBatch(const json::array& batch, const std::shared_ptr<RpcClient>& client,
                          const Reply& reply) const {
    if (batch.empty()) {
        throw RpcError(RpcErrorCode::InvalidRequest, "a batch has at least one request");
    }
    if (batch.size() > maxBatch) {
        throw RpcError(RpcErrorCode::InvalidRequest,
                       "a batch has at most " + std::to_string(maxBatch) + " requests");
    }
    const auto responses = std::make_shared<Batch>(batch.size(), reply);
    for (const json::value& request : batch) {
        handleRequest(request, client,
                      [responses](json::object one) { responses->add(std::move(one)); });
    }
}

void JsonRpc::handleRequest(const json::value& request, const std::shared_ptr<RpcClient>& client,
                            RpcAnswer::Send respond) const {
    try {
        checkRequest(request);
    } catch (const RpcError& error) {
        respond(response({{"error", errorObject(error)}}, idOf(request)));
        return;
    }
    const bool isNotification = !request.get_object().contains("id");
    const RpcAnswer answer(
        [respond = std::move(respond), isNotification, id = idOf(request)](json::object outcome) {
            respond(isNotification ? json::object() : response(std::move(outcome), id));
        });
    try {
        call(request.get_object(), client, answer);
    } catch (...) {
        answer.failure(std::current_exception());
    }
}

void JsonRpc::call(const json::object& request, const std::shared_ptr<RpcClient>& client,
                   const RpcAnswer& answer) const {
    const json::string& name = request.at("method").get_string();
    const RpcMethod& method = find({name.data(), name.size()}, *client);
    method.run({RpcParams(paramsOf(request)), client, answer});
}

const RpcMethod& JsonRpc::find(std::string_view name, const RpcClient& client) const {
    const auto found = methods.find(name);
    if (found == methods.end()) {
        throw RpcError(RpcErrorCode::MethodNotFound,
                       "there is no method \"" + std::string(name) + "\"");
    }
    if (client.role() < found->second.role) {
        throw RpcError(RpcErrorCode::AccessDenied,
                       client.role() == Role::None
                           ? "this client has not logged in"
                           : "this client may watch, but not control the server");
    }
    return found->second;
}

std::string JsonRpc::notification(std::string_view method, json::object params) {
    return json::serialize(json::object{{"jsonrpc", version},
                                        {"method", json::string_view(method.data(), method.size())},
                                        {"params", std::move(params)}});
}

} // namespace Quarlen::Kel_cpp
