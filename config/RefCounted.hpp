#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace Config {

/// Intrusive reference count; an object starts with count 0 and is deleted with its last `Ref`. The
/// destructor is protected, so that no other code deletes an object.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): it deletes itself through this base
class RefCounted {
public:
    RefCounted() = default;
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;

    void addReference() const noexcept { references.fetch_add(1, std::memory_order_relaxed); }
    void releaseReference() const noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

protected:
    virtual ~RefCounted() = default;

private:
    mutable std::atomic<std::size_t> references{0};
};

/// Shared owner of a `RefCounted` object.
template <class Object>
class Ref {
public:
    Ref() = default;
    explicit Ref(Object* object) noexcept : object(object) { acquire(); }
    Ref(const Ref& other) noexcept : object(other.object) { acquire(); }
    Ref(Ref&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    template <class Derived>
    // NOLINTNEXTLINE(google-explicit-constructor): converts like the pointer that it stands for
    Ref(const Ref<Derived>& other) noexcept : object(other.get()) {
        acquire();
    }
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the copy holds the object meanwhile
    Ref& operator=(const Ref& other) noexcept {
        Ref copy(other);
        std::swap(object, copy.object);
        return *this;
    }
    Ref& operator=(Ref&& other) noexcept {
        Ref taken(std::move(other));
        std::swap(object, taken.object);
        return *this;
    }
    ~Ref() {
        if (object != nullptr) {
            object->releaseReference();
        }
    }

    [[nodiscard]] Object* get() const noexcept { return object; }
    Object* operator->() const noexcept { return object; }
    Object& operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }

private:
    void acquire() noexcept {
        if (object != nullptr) {
            object->addReference();
        }
    }

    Object* object = nullptr;
};

} // namespace Config
