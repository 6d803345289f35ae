#include "xml/MemoryBudget.hpp"

#include <cstdint>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

namespace Xml::Tests {
namespace {

TEST(MemoryBudget, GivesNoMoreThanItHas) {
    MemoryBudget budget(1000);
    const MemoryBudget::Use use(budget);

    void* const first = MemoryBudget::allocate(600);

    EXPECT_NE(first, nullptr);
    EXPECT_EQ(MemoryBudget::allocate(600), nullptr);
    MemoryBudget::release(first);
}

TEST(MemoryBudget, TakesBackWhatIsReleased) {
    MemoryBudget budget(1000);
    const MemoryBudget::Use use(budget);

    for (int round = 0; round < 10; ++round) {
        void* const block = MemoryBudget::allocate(600);
        ASSERT_NE(block, nullptr);
        MemoryBudget::release(block);
    }
}

TEST(MemoryBudget, CountsBothBlocksWhileOneGrowsAndThenTheNewOne) {
    MemoryBudget budget(1000);
    const MemoryBudget::Use use(budget);
    void* block = MemoryBudget::reallocate(nullptr, 100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 7, 100);

    EXPECT_EQ(MemoryBudget::reallocate(block, 900), nullptr);
    for (std::size_t size = 110; size < 400; size += 10) {
        block = MemoryBudget::reallocate(block, size);
        ASSERT_NE(block, nullptr) << size;
    }

    EXPECT_EQ(static_cast<const unsigned char*>(block)[99], 7);
    MemoryBudget::release(block);
    block = MemoryBudget::allocate(900);
    EXPECT_NE(block, nullptr);
    MemoryBudget::release(block);
}

TEST(MemoryBudget, BelongsToTheInnermostUse) {
    MemoryBudget large(1000);
    MemoryBudget small(10);
    const MemoryBudget::Use outer(large);
    {
        const MemoryBudget::Use inner(small);
        EXPECT_EQ(MemoryBudget::allocate(100), nullptr);
    }

    void* const block = MemoryBudget::allocate(100);

    EXPECT_NE(block, nullptr);
    MemoryBudget::release(block);
}

TEST(MemoryBudget, GivesNothingWithoutAUseOrForASizeThatIsNone) {
    EXPECT_EQ(MemoryBudget::allocate(1), nullptr);
    MemoryBudget budget(1000);
    const MemoryBudget::Use use(budget);

    EXPECT_EQ(MemoryBudget::allocate(std::numeric_limits<std::size_t>::max()), nullptr);
    void* const block = MemoryBudget::allocate(1);
    EXPECT_EQ(MemoryBudget::reallocate(block, std::numeric_limits<std::size_t>::max()), nullptr);
    MemoryBudget::release(block);
    MemoryBudget::release(nullptr);
}

TEST(MemoryBudget, AlignsBlocksForEveryType) {
    MemoryBudget budget(1000);
    const MemoryBudget::Use use(budget);

    void* const block = MemoryBudget::allocate(1);

    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
    MemoryBudget::release(block);
}

} // namespace
} // namespace Xml::Tests
