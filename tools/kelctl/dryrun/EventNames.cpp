#include "tools/kelctl/dryrun/EventNames.hpp"

namespace Quarlen::Ctl {

const char* nameOf(const LedColour& colour) {
    return colour == LedColours::running     ? "blue"
           : colour == LedColours::succeeded ? "green"
           : colour == LedColours::failed    ? "red"
                                             : "another colour";
}

const char* nameOf(Uds::BusEvent::Kind kind) {
    switch (kind) {
    case Uds::BusEvent::Kind::Request:
        return "request";
    case Uds::BusEvent::Kind::Response:
        return "response";
    case Uds::BusEvent::Kind::Silence:
        return "silence";
    case Uds::BusEvent::Kind::Lost:
        return "lost";
    case Uds::BusEvent::Kind::KeepAlive:
        return "keepAlive";
    case Uds::BusEvent::Kind::Locked:
        return "locked";
    }
    return "";
}

const char* nameOf(Kel_cpp::JobKind kind) {
    switch (kind) {
    case Kel_cpp::JobKind::Service:
        return "service";
    case Kel_cpp::JobKind::Procedure:
        return "procedure";
    case Kel_cpp::JobKind::QuickTest:
        return "quick test";
    case Kel_cpp::JobKind::Flash:
        return "flash item";
    }
    return "";
}

const char* nameOf(Kel_cpp::JobOutcome outcome) {
    switch (outcome) {
    case Kel_cpp::JobOutcome::Running:
        return "running";
    case Kel_cpp::JobOutcome::Passed:
        return "passed";
    case Kel_cpp::JobOutcome::Failed:
        return "failed";
    case Kel_cpp::JobOutcome::Cancelled:
        return "cancelled";
    }
    return "";
}

} // namespace Quarlen::Ctl
