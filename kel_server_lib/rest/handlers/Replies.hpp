#pragma once

#include <functional>

#include <picojson.h>

#include "kel_server_lib/runtime/KelApiException.hpp"

namespace httplib {
struct Response;
} // namespace httplib

namespace Quarlen::Rest {

/// Compact JSON, keys in ascending order, "application/json". The status stays as it is.
void setJson(httplib::Response& response, const picojson::object& body);

/// {"status":"OK"}
void setStatusOk(httplib::Response& response);

/// 500 with {"errorCode","errorMessage"}; the code is sent as text. Replaces the present reply.
void setError(httplib::Response& response, const Kel_cpp::KelApiException& exception);

/// Runs a handler's runtime calls and the building of its reply; a `KelApiException` becomes the
/// error reply, any other exception passes.
void answeringErrors(httplib::Response& response, const std::function<void()>& handle);

/// A JSON string out of the runtime's text.
picojson::value jsonText(const std::wstring& text);

} // namespace Quarlen::Rest
