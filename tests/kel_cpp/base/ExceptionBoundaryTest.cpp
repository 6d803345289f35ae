#include "kel_cpp/base/ExceptionBoundary.hpp"

#include <exception>
#include <stdexcept>
#include <system_error>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include "platform/SystemError.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

template <class Exception>
std::wstring textOf(const Exception& exception) {
    try {
        throw exception;
    } catch (...) {
        return currentExceptionText();
    }
}

TEST(ExceptionBoundary, TellsTheCauseOfASystemErrorWithItsNumber) {
    const std::error_code full = std::make_error_code(std::errc::no_space_on_device);
    EXPECT_EQ(textOf(std::system_error(full, "copy")), L"copy: " + Platform::errorText(full));
}

TEST(ExceptionBoundary, TellsTheCauseOfANetworkErrorWithItsNumber) {
    const boost::system::error_code refused = boost::asio::error::connection_refused;
    const std::wstring text = textOf(boost::system::system_error(refused, "connect"));
    EXPECT_EQ(text.find(L"connect: " + Platform::errorText(refused)), 0U);
}

TEST(ExceptionBoundary, HasATextForWhateverIsThrown) {
    EXPECT_EQ(textOf(std::runtime_error("a bug")), L"a bug");
    EXPECT_EQ(textOf(std::runtime_error("\xFF")), L"internal error");
    EXPECT_EQ(textOf(42), L"unknown exception");
}

} // namespace

} // namespace Quarlen::Kel_cpp::Tests
