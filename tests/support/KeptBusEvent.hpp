#pragma once

#include <string>
#include <utility>

#include "uds/BusEvent.hpp"

namespace Quarlen::Tests {

/// An event of the bus that outlives the call that told it.
struct KeptBusEvent {
    KeptBusEvent(Uds::BusEvent::Kind kind, Uds::UnitAddress unit, Uds::Bytes bytes,
                 std::wstring text = {})
        : kind(kind), unit(std::move(unit)), bytes(std::move(bytes)), text(std::move(text)) {}
    // NOLINTNEXTLINE(google-explicit-constructor): it stands for the event that it keeps
    KeptBusEvent(const Uds::BusEvent& event)
        : KeptBusEvent(event.kind, event.unit, event.bytes, event.text) {}
    // NOLINTNEXTLINE(google-explicit-constructor): as above
    operator Uds::BusEvent() const { return {kind, unit, bytes, text}; }

    Uds::BusEvent::Kind kind;
    Uds::UnitAddress unit;
    Uds::Bytes bytes;
    std::wstring text;
};

} // namespace Quarlen::Tests
