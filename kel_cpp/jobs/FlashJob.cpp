#include "kel_cpp/jobs/FlashJob.hpp"

#include <algorithm>
#include <memory>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/jobs/FlashFile.hpp"
#include "std_util/TraceHelper.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

namespace {

/// Brings the control unit back to the default session after a failure or a success. Throws
/// `Uds::Cancelled`.
void leaveSession(const Uds::VehicleLink& link, const std::stop_token& cancel) {
    link.channel().leaveSession();
    try {
        link.channel().settle(cancel);
    } catch (const Uds::LinkError&) {
        // The session then ends with the session timeout S3.
    }
}

std::shared_ptr<FlashJobError> jobError(std::wstring message) {
    auto error = std::make_shared<FlashJobError>();
    error->message = std::move(message);
    return error;
}

/// Converts the exception that is being handled into the job's error. Only inside a catch block.
std::shared_ptr<FlashJobError> currentJobError(const std::wstring& place) {
    auto error = std::make_shared<FlashJobError>();
    try {
        throw;
    } catch (const FlashError& failure) {
        error->message = place + failure.message();
    } catch (const Uds::NoUsableResponse& failure) {
        error->message = place + failure.message();
    } catch (const Uds::LinkError& failure) {
        error->message = place + L"the vehicle communication failed";
        error->vciServerError = std::make_shared<VciServerError>();
        error->vciServerError->message = failure.message();
    } catch (...) {
        error->message = place + currentExceptionText();
    }
    return error;
}

} // namespace

FlashJob::FlashJob(SelectedVehicle selected, const std::wstring& itemName,
                   const std::vector<std::wstring>& sessionNames, std::filesystem::path flashFolder,
                   FlashTimes flashTimes)
    : vehicle(std::move(selected)),
      item(vehicle.project->findFlashItem(itemName)),
      controlUnit(nullptr),
      folder(std::move(flashFolder)),
      times(std::move(flashTimes)) {
    if (item == nullptr) {
        throw runtimeError(ErrorCode::UnknownFlashItem,
                           L"project " + inQuotes(vehicle.project->name) + L" has no flash item " +
                               inQuotes(itemName));
    }
    controlUnit = findControlUnit(*vehicle.information, item->target);
    if (controlUnit == nullptr) {
        throw runtimeError(ErrorCode::UnknownTarget,
                           L"vehicle information " + inQuotes(vehicle.information->name) +
                               L" has no control unit " + inQuotes(item->target) +
                               L", which flash item " + inQuotes(itemName) + L" is for");
    }
    for (const auto& name : sessionNames) {
        sessions.push_back(&findSession(name));
    }
}

const FlashSessionDescription& FlashJob::findSession(const std::wstring& name) const {
    const auto found = std::find_if(item->sessions.begin(), item->sessions.end(),
                                    [&](const auto& session) { return session.name == name; });
    if (found == item->sessions.end()) {
        throw runtimeError(ErrorCode::UnknownFlashItem, L"flash item " + inQuotes(item->name) +
                                                            L" has no session " + inQuotes(name));
    }
    return *found;
}

void FlashJob::run(JobReport<FlashResult>& report, const std::stop_token& cancel) const {
    auto current = std::make_shared<ControlUnitFlashResult>();
    current->controlUnit = item->target;
    try {
        flashAll(report, *current, cancel);
    } catch (const Uds::Cancelled&) {
        current->cancelled = true;
        current->jobError = jobError(placeText(*current) + L"cancelled");
    } catch (...) {
        current->jobError = currentJobError(placeText(*current));
    }
    if (current->jobError && current->step > 0) {
        current->sessionName.clear();
    }
    traceEnd(current->jobError.get());
    report.finish(sessions.empty() && !current->jobError ? RecordList<FlashResult>{}
                                                         : RecordList<FlashResult>{current});
}

std::vector<Uds::Bytes> FlashJob::readFiles(ControlUnitFlashResult& current,
                                            const std::stop_token& cancel) const {
    std::vector<Uds::Bytes> contents;
    std::uint64_t total = 0;
    for (const auto* session : sessions) {
        current.sessionName = session->name;
        contents.push_back(readFlashFile(folder, session->file, cancel));
        checkFlashFile(contents.back(), *session, cancel);
        total += contents.back().size();
        if (total > maxFlashFileSize) {
            throw FlashError(L"the files of the sessions are too large together");
        }
    }
    return contents;
}

void FlashJob::flashAll(JobReport<FlashResult>& report, ControlUnitFlashResult& current,
                        const std::stop_token& cancel) const {
    const std::vector<Uds::Bytes> contents = readFiles(current, cancel);
    // A failure before the turn is taken belongs to no session.
    current.sessionName.clear();
    if (sessions.empty()) {
        return;
    }
    const VehicleAccess::Turn turn = vehicle.access->takeTurn(cancel);
    const std::span<const Uds::Bytes> all(contents);
    if (!item->steps.empty()) {
        reprogram(item->steps, {report, current, cancel}, all, 0);
        return;
    }
    const auto common = commonFlashSteps();
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        current.sessionName = sessions[i]->name;
        reprogram(common, {report, current, cancel}, all.subspan(i, 1), i);
    }
}

void FlashJob::reprogram(const std::vector<FlashStep>& steps, const Run& run,
                         std::span<const Uds::Bytes> contents, std::size_t first) const {
    auto link = vehicle.access->openLink(controlUnit->unitAddress());
    vehicle.access->holdSession(link);
    try {
        try {
            FlashSequence(link, *item, times, run.cancel)
                .run(
                    steps,
                    [&] {
                        for (std::size_t i = 0; i < contents.size(); ++i) {
                            download(link, *sessions[first + i], contents[i], run);
                        }
                    },
                    [&](std::size_t number) { beginStep(number, run.current); });
        } catch (const Uds::Cancelled&) {
            throw;
        } catch (...) {
            leaveSession(link, run.cancel);
            throw;
        }
        leaveSession(link, run.cancel);
    } catch (const Uds::Cancelled&) {
        // The control unit may still be at work, and the job has to end at once.
        vehicle.access->leaveSession(link);
        throw;
    }
}

void FlashJob::beginStep(std::size_t number, ControlUnitFlashResult& current) const {
    if (!item->steps.empty()) {
        current.step = number;
    }
}

void FlashJob::download(Uds::VehicleLink& link, const FlashSessionDescription& session,
                        const Uds::Bytes& content, const Run& run) const {
    ControlUnitFlashResult& current = run.current;
    current.sessionName = session.name;
    current.step = 0;
    current.progress = 0;
    current.bytesDone = 0;
    current.bytesTotal = content.size();
    const auto tell = [&] { run.report.add(std::make_shared<ControlUnitFlashResult>(current)); };
    const FlashListener listener{[&](std::uint16_t percent, std::size_t bytes) {
                                     current.progress = percent;
                                     current.bytesDone = bytes;
                                     tell();
                                 },
                                 [&](std::chrono::seconds since) {
                                     traceErase(session, since);
                                     tell();
                                 }};
    FlashDownload(link, {content, session.address}, listener, times.clock, run.cancel).run();
}

void FlashJob::traceErase(const FlashSessionDescription& session,
                          std::chrono::seconds since) const {
    StdUtil::TraceHelper::InfoTrace(L"kel_cpp/jobs/FlashJob", __LINE__,
                                    L"flash item %s, session %s: erasing for %lld s",
                                    inQuotes(item->name).c_str(), inQuotes(session.name).c_str(),
                                    static_cast<long long>(since.count()));
}

void FlashJob::traceEnd(const FlashJobError* error) const {
    if (error == nullptr) {
        std::wstring names;
        for (const auto* session : sessions) {
            names += (names.empty() ? L"" : L", ") + inQuotes(session->name);
        }
        StdUtil::TraceHelper::InfoTrace(L"kel_cpp/jobs/FlashJob", __LINE__,
                                        L"flash job ended: flash item %s, sessions %s: done",
                                        inQuotes(item->name).c_str(), names.c_str());
        return;
    }
    const std::wstring cause = error->vciServerError ? L": " + error->vciServerError->message : L"";
    StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/jobs/FlashJob", __LINE__, L"flash job ended: %s%s",
                                     error->message.c_str(), cause.c_str());
}

std::wstring FlashJob::placeText(const ControlUnitFlashResult& current) const {
    std::wstring text = L"flash item " + inQuotes(item->name);
    if (current.step > 0) {
        text += L", step " + std::to_wstring(current.step);
    } else if (!current.sessionName.empty()) {
        text += L", session " + inQuotes(current.sessionName) + L", file " +
                inQuotes(findSession(current.sessionName).file);
    }
    return text + L": ";
}

} // namespace Quarlen::Kel_cpp
