#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "uds/VehicleLink.hpp"

namespace Quarlen::Ctl {

/// One thing that happened on a logical link.
struct LinkEvent {
    enum class Kind {
        Request,
        Response,
        /// The request got no answer; `bytes` are the request's.
        Silence,
        /// `text` says why; `bytes` are the request's, empty where no link could be opened.
        Lost,
        /// A request that only keeps a session alive.
        KeepAlive,
    };

    Kind kind;
    std::wstring link;
    Uds::Bytes bytes;
    std::wstring text;
};

/// Passes everything on to another vehicle and tells what is said. Safe from any thread, as the
/// other vehicle is.
class LoggedVehicle final : public Uds::VehicleInterface {
public:
    /// Called by the thread that uses the link, on several threads at a time.
    using OnEvent = std::function<void(const LinkEvent&)>;

    /// The thread that makes it is the one whose open links hold unlocks.
    LoggedVehicle(std::shared_ptr<Uds::VehicleInterface> vehicle, OnEvent onEvent);

    std::unique_ptr<Uds::VehicleLink> openLink(const std::wstring& logicalLink) override;

    /// Sends TesterPresent over the links that hold an unlock: which the thread of the sequence has
    /// opened, and on which SecurityAccess has succeeded, up to a request that locks again or the
    /// end of the link. A link is left alone while an exchange on it is under way.
    void keepSessions();

private:
    class Link;

    const std::shared_ptr<Uds::VehicleInterface> vehicle;
    const OnEvent onEvent;
    const std::thread::id sequenceThread = std::this_thread::get_id();
    std::mutex mutex;
    /// Those that hold an unlock.
    std::set<Link*> keptLinks;
};

} // namespace Quarlen::Ctl
