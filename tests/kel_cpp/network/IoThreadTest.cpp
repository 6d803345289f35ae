#include "kel_cpp/network/IoThread.hpp"

#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/NumberedCause.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

TEST(IoThread, TracesTheCauseOfAHandlerThatFailsAndGoesOn) {
    const Quarlen::Tests::TraceCapture traces;
    IoThread thread;
    boost::asio::post(*thread.ioContext(), [] {
        throw std::system_error(std::make_error_code(std::errc::not_enough_memory), "answer");
    });

    EXPECT_EQ(thread.call([] { return 42; }), 42);

    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0],
                testing::AllOf(testing::StartsWith(L"network handler failed: answer: "),
                               Quarlen::Tests::EndsWithANumber()));
}

} // namespace Quarlen::Kel_cpp::Tests
