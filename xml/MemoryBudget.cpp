#include "xml/MemoryBudget.hpp"

#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace Xml {
namespace {

/// Precedes each block, which it keeps aligned like a block of the C library.
struct alignas(std::max_align_t) Header {
    MemoryBudget* owner;
    /// Size including the header.
    std::size_t size;
};

thread_local MemoryBudget* current = nullptr;

Header* headerOf(void* block) noexcept {
    return static_cast<Header*>(block) - 1;
}

} // namespace

MemoryBudget::Use::Use(MemoryBudget& budget) noexcept : outer(std::exchange(current, &budget)) {}

MemoryBudget::Use::~Use() {
    current = outer;
}

bool MemoryBudget::take(std::size_t bytes) noexcept {
    if (bytes > left) {
        return false;
    }
    left -= bytes;
    return true;
}

void* MemoryBudget::allocate(std::size_t size) noexcept {
    if (current == nullptr || size > std::numeric_limits<std::size_t>::max() - sizeof(Header)) {
        return nullptr;
    }
    const std::size_t whole = size + sizeof(Header);
    if (!current->take(whole)) {
        return nullptr;
    }
    void* const memory = std::malloc(whole);
    if (memory == nullptr) {
        current->left += whole;
        return nullptr;
    }
    return new (memory) Header{current, whole} + 1;
}

void* MemoryBudget::reallocate(void* block, std::size_t size) noexcept {
    if (block == nullptr) {
        return allocate(size);
    }
    Header* const header = headerOf(block);
    MemoryBudget& owner = *header->owner;
    const std::size_t before = header->size;
    // The old block lives until the new one has been filled, so both count.
    if (size > std::numeric_limits<std::size_t>::max() - sizeof(Header) ||
        !owner.take(size + sizeof(Header))) {
        return nullptr;
    }
    auto* const moved = static_cast<Header*>(std::realloc(header, size + sizeof(Header)));
    if (moved == nullptr) {
        owner.left += size + sizeof(Header);
        return nullptr;
    }
    owner.left += before;
    moved->size = size + sizeof(Header);
    return moved + 1;
}

void MemoryBudget::release(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    Header* const header = headerOf(block);
    header->owner->left += header->size;
    std::free(header);
}

} // namespace Xml
