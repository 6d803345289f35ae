#include "kel_cpp/jobs/OtxRun.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <variant>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/jobs/CancellableWait.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

/// Before a control unit whose delay timer runs is asked again.
constexpr std::chrono::milliseconds delayPause{1000};

/// Response code 0 is invalid in a negative response and would look like a success, so it is
/// mapped.
std::int32_t refusalError(std::uint8_t responseCode) {
    return responseCode == 0 ? static_cast<std::int32_t>(ServiceError::UnexpectedAnswer)
                             : responseCode;
}

bool matches(const Uds::Bytes& response, const UdsStep& step) {
    const std::size_t wanted = step.expected.size();
    return (step.openEnd ? response.size() >= wanted : response.size() == wanted) &&
           std::equal(step.expected.begin(), step.expected.end(), response.begin(),
                      [](const ExpectedByte& expected, std::uint8_t actual) {
                          return !expected || *expected == actual;
                      });
}

/// The expectation as a project spells it, for example "62 F1 ?? *".
std::wstring expectedText(const UdsStep& step) {
    if (step.wantsNoAnswer) {
        return L"no answer";
    }
    std::wstring text;
    for (const ExpectedByte& byte : step.expected) {
        text += (text.empty() ? L"" : L" ") + (byte ? Uds::hexText({*byte}) : L"??");
    }
    return step.openEnd ? text + (text.empty() ? L"*" : L" *") : text;
}

/// `refusal` is the text of a negative response.
std::wstring receivedText(const Uds::Bytes& response, const std::wstring& refusal) {
    if (response.empty()) {
        return L"no response";
    }
    const std::wstring bytes = Uds::hexText(response);
    return refusal.empty() ? bytes : bytes + L" (" + refusal + L")";
}

/// A step without an expectation accepts any positive response.
bool hasExpectation(const UdsStep& step) {
    return !step.expected.empty() || step.openEnd || step.wantsNoAnswer;
}

/// A positive response that nobody wants is dropped: after response pending it always comes
/// (clause 8.2.2).
bool isGood(const Uds::Bytes& response, const UdsStep& step) {
    return step.wantsNoAnswer ? !Uds::isNegative(response) : matches(response, step);
}

/// Judges the result of an exchange by the step's expectation, not by whether it is positive.
std::shared_ptr<ServiceResult> judged(std::shared_ptr<ServiceResult> result,
                                      const Uds::Bytes& response, const UdsStep& step) {
    if (isGood(response, step)) {
        result->error = 0;
        result->errorText.clear();
        return result;
    }
    if (result->error == 0) {
        result->error = static_cast<std::int32_t>(ServiceError::UnexpectedAnswer);
    }
    result->errorText = L"expected " + expectedText(step) + L", received " +
                        receivedText(response, result->errorText);
    return result;
}

using Trace = void (*)(const wchar_t* source, int line, const wchar_t* format, ...);

void traceEnd(Trace trace, const OtxProcedure& procedure, const std::wstring& outcome) {
    trace(L"kel_cpp/jobs/OtxRun", __LINE__, L"procedure %s ended: %s",
          inQuotes(procedure.name).c_str(), outcome.c_str());
}

} // namespace

std::shared_ptr<ServiceResult> failedResult(ServiceError error, std::wstring text) {
    auto result = std::make_shared<ServiceResult>();
    result->error = static_cast<std::int32_t>(error);
    result->errorText = std::move(text);
    return result;
}

std::shared_ptr<ServiceResult> resultOfResponse(const Uds::Channel& channel,
                                                const Uds::Bytes& response) {
    auto result = std::make_shared<ServiceResult>();
    if (!response.empty()) {
        auto record = std::make_shared<ServiceResponse>();
        record->data = response;
        result->responses.push_back(std::move(record));
    }
    if (Uds::isNegative(response)) {
        result->error = refusalError(response[2]);
        result->errorText = Uds::refusalText(channel, response);
    }
    return result;
}

std::shared_ptr<ServiceResult> exchangeRaw(VehicleAccess& access, const Uds::UnitAddress& unit,
                                           const Uds::Bytes& request,
                                           const std::stop_token& cancel) {
    try {
        const auto link = access.openLink(unit);
        return resultOfResponse(link.channel(), link.channel().exchange(request, cancel));
    } catch (const Uds::LinkError& error) {
        return failedResult(ServiceError::Communication,
                            L"logical link " + inQuotes(unit.link) + L": " + error.message());
    }
}

OtxRun::OtxRun(VehicleAccess& access, const Project& project, std::stop_token cancel,
               Platform::Clock& clock, const OnResult& onResult)
    : access(access),
      project(project),
      cancel(std::move(cancel)),
      clock(clock),
      onResult(onResult) {}

void OtxRun::run(const OtxProcedure& procedure) {
    try {
        runSteps(procedure);
    } catch (const Uds::Cancelled&) {
        traceEnd(StdUtil::TraceHelper::InfoTrace, procedure, L"cancelled");
        throw;
    } catch (...) {
        traceEnd(StdUtil::TraceHelper::ErrorTrace, procedure, L"failed, " + currentExceptionText());
        throw;
    }
}

void OtxRun::runSteps(const OtxProcedure& procedure) {
    std::wstring verdict;
    std::size_t number = 0;
    for (const OtxStep& step : procedure.steps) {
        ++number;
        auto result = std::visit([this](const auto& kind) { return execute(kind); }, step);
        if (result->error != 0) {
            const std::wstring cause =
                L"step " + std::to_wstring(number) + L": " + result->errorText;
            result->errorText = L"procedure " + inQuotes(procedure.name) + L", " + cause;
            traceEnd(StdUtil::TraceHelper::ErrorTrace, procedure, L"failed, " + cause);
            onResult(std::move(result));
            return;
        }
        if (!result->errorText.empty()) {
            verdict = L", " + result->errorText;
        }
        onResult(std::move(result));
    }
    traceEnd(StdUtil::TraceHelper::InfoTrace, procedure, L"passed" + verdict);
}

std::shared_ptr<ServiceResult> OtxRun::execute(const UdsStep& step) {
    try {
        Uds::Channel& channel = linkFor(step.link).channel();
        const Uds::Bytes response = answerTo(step, channel);
        auto result = resultOfResponse(channel, response);
        return hasExpectation(step) ? judged(std::move(result), response, step) : result;
    } catch (const Uds::LinkError& error) {
        return failedResult(ServiceError::Communication,
                            L"logical link " + inQuotes(step.link) + L": " + error.message());
    }
}

/// The last question comes when the bound is reached.
Uds::Bytes OtxRun::answerTo(const UdsStep& step, Uds::Channel& channel) {
    const auto end = clock.now() + step.delayBound;
    const Uds::ExchangeManner manner{step.wantsNoAnswer ? Uds::Silence::IsAnAnswer
                                                        : Uds::Silence::IsJudged};
    for (;;) {
        Uds::Bytes response = channel.exchange(step.request, cancel, manner);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock.now());
        if (!Uds::isRefusal(response, Uds::Nrc::RequiredTimeDelayNotExpired) || left.count() <= 0) {
            return response;
        }
        waitUnlessCancelled(clock, std::min(delayPause, left), cancel);
    }
}

std::shared_ptr<ServiceResult> OtxRun::execute(const WaitStep& step) {
    std::stop_source end;
    const auto raise = [&end] { end.request_stop(); };
    const std::stop_callback onCancel(cancel, raise);
    const std::stop_callback onLoss(access.losing(), raise);
    try {
        waitUnlessCancelled(clock, step.duration, end.get_token());
    } catch (const Uds::Cancelled&) {
        if (cancel.stop_requested()) {
            throw;
        }
        return failedResult(ServiceError::Communication, access.lossCause());
    }
    return std::make_shared<ServiceResult>();
}

std::shared_ptr<ServiceResult> OtxRun::execute(const VerdictStep& step) {
    if (!step.passed) {
        return failedResult(ServiceError::VerdictFailed,
                            step.text.empty() ? L"verdict: failed" : L"verdict: " + step.text);
    }
    auto result = std::make_shared<ServiceResult>();
    result->errorText = step.text;
    return result;
}

Uds::VehicleLink& OtxRun::linkFor(const std::wstring& logicalLink) {
    auto found = openLinks.find(logicalLink);
    if (found == openLinks.end()) {
        auto link = access.openLink(project.addressOf(logicalLink));
        access.holdSession(link);
        found = openLinks.emplace(logicalLink, std::move(link)).first;
    }
    return found->second;
}

} // namespace Quarlen::Kel_cpp
