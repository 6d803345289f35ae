#include "kel_server_lib/rest/handlers/Replies.hpp"

#include <string>

#include <httplib.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Rest {

void setJson(httplib::Response& response, const picojson::object& body) {
    response.set_content(picojson::value(body).serialize(), "application/json");
}

void setStatusOk(httplib::Response& response) {
    setJson(response, {{"status", picojson::value("OK")}});
}

void setError(httplib::Response& response, const Kel_cpp::KelApiException& exception) {
    response.status = httplib::StatusCode::InternalServerError_500;
    setJson(response, {{"errorCode", picojson::value(std::to_string(exception.code()))},
                       {"errorMessage", jsonText(exception.message())}});
}

void answeringErrors(httplib::Response& response, const std::function<void()>& handle) {
    try {
        handle();
    } catch (const Kel_cpp::KelApiException& exception) {
        setError(response, exception);
    }
}

picojson::value jsonText(const std::wstring& text) {
    return picojson::value(Platform::toUtf8(text));
}

} // namespace Quarlen::Rest
