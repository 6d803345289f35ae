#include "tools/kelctl/dryrun/EventNames.hpp"

namespace Quarlen::Ctl {

const char* nameOf(const LedColour& colour) {
    return colour == LedColours::running     ? "blue"
           : colour == LedColours::succeeded ? "green"
           : colour == LedColours::failed    ? "red"
                                             : "another colour";
}

const char* nameOf(LinkEvent::Kind kind) {
    switch (kind) {
    case LinkEvent::Kind::Request:
        return "request";
    case LinkEvent::Kind::Response:
        return "response";
    case LinkEvent::Kind::Silence:
        return "silence";
    case LinkEvent::Kind::Lost:
        return "lost";
    case LinkEvent::Kind::KeepAlive:
        return "keepAlive";
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
