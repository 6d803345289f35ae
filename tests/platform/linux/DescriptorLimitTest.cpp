#include "platform/DescriptorLimit.hpp"

#include <sys/resource.h>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {
namespace {

/// The limit of the process, which is put back at the end.
class DescriptorLimit : public testing::Test {
protected:
    DescriptorLimit() { ::getrlimit(RLIMIT_NOFILE, &before); }
    ~DescriptorLimit() override { ::setrlimit(RLIMIT_NOFILE, &before); }

    [[nodiscard]] bool setSoftLimit(rlim_t limit) const {
        const rlimit wanted{limit, before.rlim_max};
        return ::setrlimit(RLIMIT_NOFILE, &wanted) == 0;
    }
    static rlim_t softLimit() {
        rlimit now{};
        ::getrlimit(RLIMIT_NOFILE, &now);
        return now.rlim_cur;
    }

    rlimit before{};
};

TEST_F(DescriptorLimit, IsRaisedAsFarAsTheUserMay) {
    ASSERT_TRUE(setSoftLimit(256));

    raiseDescriptorLimit();

    EXPECT_EQ(softLimit(), std::min<rlim_t>(8192, before.rlim_max));
}

TEST_F(DescriptorLimit, IsNotLoweredWhereItIsHigher) {
    if (!setSoftLimit(8193)) {
        GTEST_SKIP() << "this user may have no more than 8192 descriptors";
    }

    raiseDescriptorLimit();

    EXPECT_EQ(softLimit(), 8193U);
}

} // namespace
} // namespace Quarlen::Platform::Tests
