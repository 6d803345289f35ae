#include "uds/UnitSession.hpp"

#include <algorithm>
#include <utility>

namespace Quarlen::Uds {

namespace {

bool isRequestFor(const Bytes& request, Service service) {
    return request.size() >= 2 && request[0] == static_cast<std::uint8_t>(service);
}

} // namespace

bool entersSession(const Bytes& request) noexcept {
    return isRequestFor(request, Service::DiagnosticSessionControl);
}

std::wstring UnitSession::forgetOld(TimePoint now) {
    if (isDefault() || now - lastActivity <= valid.session) {
        return {};
    }
    leave();
    return lock(L"its session ran out");
}

std::wstring UnitSession::note(const Bytes& request, const Bytes& response) {
    if (isNegative(response)) {
        return {};
    }
    if (entersSession(request)) {
        return enter(request, response);
    }
    if (isRequestFor(request, Service::EcuReset)) {
        leave();
        return lock(L"it was reset");
    }
    if (isRequestFor(request, Service::SecurityAccess)) {
        noteUnlock(request, response);
    }
    return {};
}

/// P2server in milliseconds and P2*server in units of ten milliseconds stand in the response
/// (clause 10.2.3).
std::wstring UnitSession::enter(const Bytes& request, const Bytes& response) {
    using std::chrono::milliseconds;
    constexpr std::size_t size = 6;
    leave();
    session = static_cast<Session>(request[1] & ~suppressPositiveResponseBit);
    if (response.size() >= size && !isDefault()) {
        valid.p2 = milliseconds{numberAt(response, 2, 2)} + configured.delta;
        valid.p2Star = 10 * milliseconds{numberAt(response, 4, 2)} + configured.delta;
    }
    return lock(L"another session was entered");
}

void UnitSession::leave() {
    session = Session::Default;
    valid = configured;
}

std::wstring UnitSession::lock(const wchar_t* how) {
    return std::exchange(unlocked, false) ? how : std::wstring();
}

/// The key was accepted, or there is nothing to unlock and the seed is zero.
void UnitSession::noteUnlock(const Bytes& request, const Bytes& response) {
    unlocked = unlocked || request[1] % 2 == 0 ||
               (response.size() > 2 && std::all_of(response.begin() + 2, response.end(),
                                                   [](auto byte) { return byte == 0; }));
}

} // namespace Quarlen::Uds
