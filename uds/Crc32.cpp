#include "uds/Crc32.hpp"

#include <array>

namespace Quarlen::Uds {

namespace {

constexpr std::size_t sliceCount = 8;
using Table = std::array<std::uint32_t, 256>;

constexpr std::array<Table, sliceCount> makeTables() {
    std::array<Table, sliceCount> tables{};
    for (std::uint32_t byte = 0; byte < 256U; ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1U) != 0U ? (value >> 1U) ^ 0xEDB88320U : value >> 1U;
        }
        tables[0][byte] = value;
    }
    for (std::size_t slice = 1; slice < sliceCount; ++slice) {
        for (std::size_t byte = 0; byte < 256U; ++byte) {
            const auto before = tables[slice - 1][byte];
            tables[slice][byte] = (before >> 8U) ^ tables[0][before & 0xFFU];
        }
    }
    return tables;
}

constexpr auto tables = makeTables();

/// Eight bytes per step: a flash image of several megabytes is checked in milliseconds.
std::uint32_t eightBytes(std::uint32_t crc, const std::uint8_t* data) noexcept {
    std::uint32_t result = 0;
    for (std::size_t index = 0; index < sliceCount; ++index) {
        const auto fromCrc = index < 4U ? (crc >> (8U * index)) & 0xFFU : 0U;
        result ^= tables[sliceCount - 1 - index][data[index] ^ fromCrc];
    }
    return result;
}

} // namespace

std::uint32_t crc32(const std::uint8_t* data, std::size_t size, std::uint32_t previous) noexcept {
    std::uint32_t crc = ~previous;
    for (; size >= sliceCount; size -= sliceCount, data += sliceCount) {
        crc = eightBytes(crc, data);
    }
    for (; size > 0; --size, ++data) {
        crc = (crc >> 8U) ^ tables[0][(crc ^ *data) & 0xFFU];
    }
    return ~crc;
}

} // namespace Quarlen::Uds
