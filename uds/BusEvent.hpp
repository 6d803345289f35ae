#pragma once

#include <functional>
#include <string>

#include "uds/VehicleInterface.hpp"

namespace Quarlen::Uds {

inline const std::wstring noBusText;

/// One thing that happened between tester and control unit. It refers to what it tells, which holds
/// for the call that tells it: a block of a download is not copied for listeners that do not look.
struct BusEvent {
    enum class Kind {
        Request,
        Response,
        /// The request got no answer; `bytes` are the request's.
        Silence,
        /// `text` says why; `bytes` are the request's, empty where no link could be opened.
        Lost,
        /// A request that only keeps a session alive.
        KeepAlive,
        /// An unlock has ended because of `bytes`, or because the session ran out; `text` says it.
        Locked,
    };

    Kind kind = Kind::Request;
    const UnitAddress& unit;
    const Bytes& bytes;
    const std::wstring& text = noBusText;
};

/// Called by the thread that sends or receives, on several threads at a time.
using OnBusEvent = std::function<void(const BusEvent&)>;

} // namespace Quarlen::Uds
