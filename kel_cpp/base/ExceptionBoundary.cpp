#include "kel_cpp/base/ExceptionBoundary.hpp"

#include <exception>

#include <boost/system/system_error.hpp>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/SystemError.hpp"
#include "uds/Client.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Kel_cpp {

namespace {

struct Failure {
    ErrorCode code = ErrorCode::Internal;
    std::wstring text;
};

Failure currentFailure() {
    try {
        throw;
    } catch (const KelApiException& exception) {
        return {static_cast<ErrorCode>(exception.code()), exception.message()};
    } catch (const Uds::LinkError& exception) {
        return {ErrorCode::Communication, exception.message()};
    } catch (const Uds::NegativeResponse& exception) {
        return {ErrorCode::NegativeResponse, exception.message()};
    } catch (const Uds::Cancelled&) {
        return {ErrorCode::NotConnected, L"the vehicle access was closed"};
    } catch (const boost::system::system_error& exception) {
        const auto& cause = exception.code();
        return {ErrorCode::Internal,
                Platform::textWithCause(exception.what(), cause.message(), cause)};
    } catch (const std::exception& exception) {
        return {ErrorCode::Internal, Platform::exceptionText(exception)};
    } catch (...) {
        return {ErrorCode::Internal, L"unknown exception"};
    }
}

} // namespace

std::wstring inQuotes(std::wstring_view name) {
    return L"\"" + std::wstring(name) + L"\"";
}

std::wstring currentExceptionText() {
    return currentFailure().text;
}

void throwAsKelApiException(const wchar_t* operation) {
    try {
        throw;
    } catch (const KelApiException&) {
        throw;
    } catch (...) {
        const Failure failure = currentFailure();
        throw runtimeError(failure.code, std::wstring(operation) + L": " + failure.text);
    }
}

} // namespace Quarlen::Kel_cpp
