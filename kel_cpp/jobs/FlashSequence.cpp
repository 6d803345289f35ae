#include "kel_cpp/jobs/FlashSequence.hpp"

#include <type_traits>

#include "kel_cpp/jobs/CancellableWait.hpp"
#include "kel_cpp/jobs/FlashFile.hpp"
#include "kel_cpp/jobs/FlashRequests.hpp"
#include "platform/LocalTime.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using Uds::Bytes;
using Uds::Service;

/// A control unit answers before it resets (clause 10.3), so it is left alone first; and one that
/// its gateway does not reach yet is asked again after this time.
constexpr std::chrono::milliseconds bootPause{100};

std::uint8_t bcd(int number) {
    return static_cast<std::uint8_t>(number / 10 % 10 * 16 + number % 10);
}

/// Year, month and day, as in programmingDateDataIdentifier (annex C.1).
Bytes dateOf(std::chrono::system_clock::time_point moment) {
    const std::tm date = Platform::localTime(std::chrono::system_clock::to_time_t(moment));
    return {bcd(date.tm_year), bcd(date.tm_mon + 1), bcd(date.tm_mday)};
}

} // namespace

void FlashSequence::run(const std::vector<FlashStep>& steps, const FlashAll& flashAll,
                        const OnStep& onStep) {
    std::size_t number = 0;
    for (const FlashStep& step : steps) {
        onStep(++number);
        std::visit(
            [&](const auto& kind) {
                if constexpr (std::is_same_v<std::decay_t<decltype(kind)>, FlashMemories>) {
                    flashAll();
                } else {
                    execute(kind);
                }
            },
            step);
    }
}

void FlashSequence::execute(const FlashFingerprint& step) {
    Bytes request = serviceRequest(Service::WriteDataByIdentifier);
    Uds::appendNumber(request, Uds::Did::fingerprint, 2);
    const Bytes date = dateOf(times.now());
    request.insert(request.end(), date.begin(), date.end());
    request.insert(request.end(), step.tester.begin(), step.tester.end());
    client.request(request);
}

void FlashSequence::execute(const FlashDependencies& /*step*/) {
    const Bytes response =
        client.request(routineRequest(Uds::Routine::checkProgrammingDependencies));
    if (!routineSucceeded(response, StatusByte::Required)) {
        throw FlashError(L"the control unit says that its software does not fit together");
    }
}

void FlashSequence::execute(const FlashReset& step) {
    client.request(serviceRequest(Service::EcuReset, {Uds::ResetType::hardReset}));
    waitUnlessCancelled(times.clock, bootPause, cancel);
    awaitAnswer(step.bootTime);
}

/// The last question is asked once the time is over: one before it may have come too early.
void FlashSequence::awaitAnswer(std::chrono::milliseconds bootTime) {
    const auto limit = times.clock.now() + bootTime;
    for (bool isLast = false; !answers();) {
        if (isLast) {
            throw FlashError(L"the control unit did not answer within " +
                             std::to_wstring(bootTime.count()) + L" ms after its reset");
        }
        isLast = times.clock.now() >= limit;
    }
}

/// Any answer to TesterPresent.
bool FlashSequence::answers() {
    try {
        client.exchange(serviceRequest(Service::TesterPresent, {0x00}));
        return true;
    } catch (const Uds::NoUsableResponse&) {
        return false;
    } catch (const Uds::MessageRefused&) {
        waitUnlessCancelled(times.clock, bootPause, cancel);
        return false;
    }
}

} // namespace Quarlen::Kel_cpp
