#include "platform/windows/ServiceControls.hpp"

#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/SystemError.hpp"
#include "tests/support/NumberedCause.hpp"

namespace Quarlen::Platform::Tests {

TEST(ServiceControls, OfAProgramThatIsNoServiceAreRefusedWithTheCause) {
    ServiceStates states([](const SERVICE_STATUS& /*status*/) {},
                         std::make_shared<std::atomic<bool>>(false));
    try {
        takeServiceControls(L"kel_server", states);
        FAIL() << "no exception";
    } catch (const std::system_error& refusal) {
        EXPECT_NE(refusal.code().value(), 0);
        EXPECT_THAT(errorText(refusal.code()), Quarlen::Tests::EndsWithANumber());
    }
}

} // namespace Quarlen::Platform::Tests
