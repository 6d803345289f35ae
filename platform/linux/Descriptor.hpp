#pragma once

#include <string_view>

namespace Quarlen::Platform {

/// Owns a file descriptor; a negative one is none.
class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    [[nodiscard]] int get() const noexcept { return number; }
    [[nodiscard]] bool isOpen() const noexcept { return number >= 0; }

    // All three give the error number, 0 for success.

    int close() noexcept;
    /// Writes all bytes, also when a signal interrupts it.
    [[nodiscard]] int writeAll(std::string_view content) const noexcept;
    /// Returns once the content is on the disk.
    [[nodiscard]] int flush() const noexcept;

private:
    int number;
};

} // namespace Quarlen::Platform
