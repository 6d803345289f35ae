#include "kel_server_lib/runtime/ExceptionLine.hpp"

#include "platform/TextEncoding.hpp"

namespace Quarlen {

std::string exceptionLine(const Kel_cpp::KelApiException& exception) {
    return "Exception caught: " + Platform::toUtf8(exception.message()) +
           " code: " + std::to_string(exception.code());
}

std::wstring exceptionStatus(const Kel_cpp::KelApiException& exception) {
    return L"Exception caught: " + exception.message();
}

} // namespace Quarlen
