#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <string>

#include "kel_cpp/access/VehicleAccess.hpp"
#include "kel_cpp/projects/Project.hpp"
#include "kel_server_lib/runtime/JobRecords.hpp"
#include "platform/Clock.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

/// Values of `ServiceResult::error` in addition to the negative response codes (1 to 255, used
/// unchanged; a refusal with code 0 is an unexpected answer).
enum class ServiceError : std::int32_t {
    None = 0,
    /// No answer, or the interface failed.
    Communication = 0x100,
    UnexpectedAnswer = 0x101,
    VerdictFailed = 0x102,
    Cancelled = 0x103,
    Internal = 0x104,
};

/// A failed result with its error and text.
std::shared_ptr<ServiceResult> failedResult(ServiceError error, std::wstring text);
/// The result of one exchange. A negative response is a failure that carries the response.
std::shared_ptr<ServiceResult> resultOfResponse(const Uds::Channel& channel,
                                                const Uds::Bytes& response);

/// One raw exchange over one link. A link failure gives a failed result. Throws `Uds::Cancelled`.
std::shared_ptr<ServiceResult> exchangeRaw(VehicleAccess& access, const Uds::UnitAddress& unit,
                                           const Uds::Bytes& request,
                                           const std::stop_token& cancel);

/// One run of one procedure, step by step; the first step that fails ends it. Control units stay in
/// the sessions that its steps enter until its end, however long it waits. A trace tells how it
/// ended: passed with the text of the last verdict, failed with step and cause, or cancelled.
class OtxRun {
public:
    /// Receives the result of each step on the thread that calls `run`.
    using OnResult = std::function<void(std::shared_ptr<ServiceResult>)>;

    /// All arguments must outlive the run.
    OtxRun(VehicleAccess& access, const Project& project, std::stop_token cancel,
           Platform::Clock& clock, const OnResult& onResult);

    /// Throws `Uds::Cancelled`.
    void run(const OtxProcedure& procedure);

private:
    void runSteps(const OtxProcedure& procedure);
    [[nodiscard]] std::shared_ptr<ServiceResult> execute(const UdsStep& step);
    [[nodiscard]] std::shared_ptr<ServiceResult> execute(const WaitStep& step);
    [[nodiscard]] std::shared_ptr<ServiceResult> execute(const VerdictStep& step);
    [[nodiscard]] Uds::Bytes answerTo(const UdsStep& step, Uds::Channel& channel);
    Uds::VehicleLink& linkFor(const std::wstring& logicalLink);

    VehicleAccess& access;
    const Project& project;
    std::stop_token cancel;
    Platform::Clock& clock;
    const OnResult& onResult;
    std::map<std::wstring, Uds::VehicleLink> openLinks;
};

} // namespace Quarlen::Kel_cpp
