#include "kel_server_lib/runtime/ExceptionLine.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Tests {

TEST(ExceptionLine, TellsMessageInUtf8AndCodeAsDecimal) {
    EXPECT_EQ(exceptionLine(Kel_cpp::KelApiException(L"\u00E4rger", -2147483647)),
              "Exception caught: \xC3\xA4rger code: -2147483647");
}

TEST(ExceptionStatus, TellsTheMessageOnly) {
    EXPECT_EQ(exceptionStatus(Kel_cpp::KelApiException(L"gone", 3)), L"Exception caught: gone");
}

TEST(ExceptionLine, AMessageThatDoesNotConvertBecomesTheEmptyText) {
    const std::wstring loneSurrogate(1, static_cast<wchar_t>(0xD800));

    EXPECT_EQ(exceptionLine(Kel_cpp::KelApiException(L"gone " + loneSurrogate, 3)),
              "Exception caught:  code: 3");
}

TEST(ExceptionStatus, PassesAMessageThatDoesNotConvertOnAsItIs) {
    const std::wstring message = L"gone " + std::wstring(1, static_cast<wchar_t>(0xD800));

    EXPECT_EQ(exceptionStatus(Kel_cpp::KelApiException(message, 3)),
              L"Exception caught: " + message);
}

} // namespace Quarlen::Tests
