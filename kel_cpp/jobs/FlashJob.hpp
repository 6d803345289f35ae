#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/FlashDownload.hpp"
#include "kel_cpp/jobs/FlashSequence.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_cpp/report/FlashRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Flashes sessions of one flash item in the given order, with the steps that the project gives.
/// The first failure ends the job.
class FlashJob {
public:
    /// `flashFolder` holds the sessions' files. Throws `KelApiException`: UnknownFlashItem for an
    /// item or session that the project does not have, UnknownTarget when the selected vehicle
    /// information does not contain the item's control unit.
    FlashJob(SelectedVehicle selected, const std::wstring& itemName,
             const std::vector<std::wstring>& sessionNames, std::filesystem::path flashFolder,
             FlashTimes flashTimes);

    /// Reports each whole percent of each session, and 0 while it is erased; the last report
    /// carries the outcome of the last session, or no session name when the job ended before the
    /// first session began. A trace about the end of the job precedes the last report.
    void run(JobReport<FlashResult>& report, const std::stop_token& cancel) const;

private:
    [[nodiscard]] const FlashSessionDescription& findSession(const std::wstring& name) const;
    /// Reads all files before the first request is sent, so that a missing or wrong file leaves the
    /// vehicle unchanged.
    [[nodiscard]] std::vector<Uds::Bytes> readFiles(ControlUnitFlashResult& current,
                                                    const std::stop_token& cancel) const;
    /// What the steps of a job share.
    struct Run {
        JobReport<FlashResult>& report;
        ControlUnitFlashResult& current;
        const std::stop_token& cancel;
    };
    void flashAll(JobReport<FlashResult>& report, ControlUnitFlashResult& current,
                  const std::stop_token& cancel) const;
    /// Flashes the contents of as many sessions, from the one at `first` on. The control unit is in
    /// the default session afterwards, or as soon as it has ended what a cancelled job has begun.
    void reprogram(const std::vector<FlashStep>& steps, const Run& run,
                   std::span<const Uds::Bytes> contents, std::size_t first) const;
    void beginStep(std::size_t number, ControlUnitFlashResult& current) const;
    void download(Uds::VehicleLink& link, const FlashSessionDescription& session,
                  const Uds::Bytes& content, const Run& run) const;
    void traceErase(const FlashSessionDescription& session, std::chrono::seconds since) const;
    /// `error` is null after a success.
    void traceEnd(const FlashJobError* error) const;
    [[nodiscard]] std::wstring placeText(const ControlUnitFlashResult& current) const;

    SelectedVehicle vehicle;
    /// Points into the vehicle's project, as do the sessions.
    const FlashItem* item;
    const ProjectTarget* controlUnit;
    std::vector<const FlashSessionDescription*> sessions;
    std::filesystem::path folder;
    FlashTimes times;
};

} // namespace Quarlen::Kel_cpp
