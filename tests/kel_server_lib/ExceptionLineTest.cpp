#include "kel_server_lib/ExceptionLine.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Tests {

TEST(ExceptionLine, TellsMessageInUtf8AndCodeAsDecimal) {
    EXPECT_EQ(exceptionLine(Kel_cpp::KelApiException(L"\u00E4rger", -2147483647)),
              "Exception caught: \xC3\xA4rger code: -2147483647");
}

TEST(ExceptionStatus, TellsTheMessageOnly) {
    EXPECT_EQ(exceptionStatus(Kel_cpp::KelApiException(L"gone", 3)), L"Exception caught: gone");
}

} // namespace Quarlen::Tests
