#pragma once

#include <cstdint>

#include "config/RefCounted.hpp"

namespace Config {

/// Numeric type ids of the objects that a configuration file holds. `Unknown` is the id of every
/// object whose element name the library does not know.
enum class TypeId : std::uint32_t {
    Unknown = 0,
    KelServerScript = 401,
    ExecuteAction = 402,
    SelectAction = 403,
    QuicktestAction = 418,
    FlashingAction = 421,
    UnlockAction = 439,
};

class ConfigObject : public RefCounted {
public:
    [[nodiscard]] virtual TypeId typeId() const noexcept = 0;
};

/// Checked downcast: null when the object is of another type.
template <class Derived>
const Derived* as(const ConfigObject& object) noexcept {
    return object.typeId() == Derived::type ? dynamic_cast<const Derived*>(&object) : nullptr;
}

} // namespace Config
