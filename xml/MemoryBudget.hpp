#pragma once

#include <cstddef>

namespace Xml {

/// Bounds what a C library allocates through these three functions. A block remembers its budget;
/// only `allocate` takes the budget of the innermost `Use` of its thread.
class MemoryBudget {
public:
    explicit MemoryBudget(std::size_t bytes) noexcept : left(bytes) {}
    MemoryBudget(const MemoryBudget&) = delete;
    MemoryBudget& operator=(const MemoryBudget&) = delete;
    ~MemoryBudget() = default;

    class Use {
    public:
        explicit Use(MemoryBudget& budget) noexcept;
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use();

    private:
        MemoryBudget* outer;
    };

    /// As the functions of the C library. Null also when the budget is used up, or without a `Use`.
    static void* allocate(std::size_t size) noexcept;
    static void* reallocate(void* block, std::size_t size) noexcept;
    static void release(void* block) noexcept;

private:
    bool take(std::size_t bytes) noexcept;

    std::size_t left;
};

} // namespace Xml
