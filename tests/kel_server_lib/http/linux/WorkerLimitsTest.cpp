#include <sys/resource.h>

#include <gtest/gtest.h>

#include "kel_server_lib/http/HttpServer.hpp"

namespace Quarlen::Rest::Tests {

namespace {

/// As many descriptors as the process may have, until the object goes.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t count) {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
        const rlimit wanted{count, former.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &wanted), 0);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &former); }

private:
    rlimit former{};
};

TEST(WorkerLimits, AreHalfOfTheDescriptorsWhereTheseAreFew) {
    const DescriptorLimit limit(300);
    EXPECT_EQ(workerLimits().maxWorkers, 150U);
}

TEST(WorkerLimits, AreFiveHundredAndTwelveWhereThereAreManyDescriptors) {
    const DescriptorLimit limit(4096);
    EXPECT_EQ(workerLimits().maxWorkers, 512U);
}

TEST(WorkerLimits, AreHalfOfTheDescriptorsJustBelowTwiceTheMost) {
    const DescriptorLimit limit(1022);
    EXPECT_EQ(workerLimits().maxWorkers, 511U);
}

} // namespace

} // namespace Quarlen::Rest::Tests
