#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include <pugixml.hpp>

#include "simulation/VehicleDescription.hpp"
#include "xml/File.hpp"

namespace Quarlen::Simulation {

/// The flash memories of one control unit as a vehicle file describes them, one after the other.
class FlashRegions {
public:
    /// `file` must outlive the regions.
    explicit FlashRegions(const Xml::File& file) : file(file) {}

    /// Throws `Xml::FileError` for a memory that ends behind 32 bits, that overlaps another one, or
    /// that another security level than theirs unlocks.
    void add(const pugi::xml_node& node, const FlashMemoryDescription& memory);

private:
    const Xml::File& file;
    /// End address of each memory by its first address.
    std::map<std::uint32_t, std::uint64_t> ends;
    std::optional<std::uint8_t> securityLevel;
};

} // namespace Quarlen::Simulation
