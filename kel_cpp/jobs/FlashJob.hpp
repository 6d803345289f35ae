#pragma once

#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/FlashDownload.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_cpp/report/FlashRecords.hpp"

namespace Quarlen::Kel_cpp {

/// Flashes sessions of one flash item in the given order. The first failed session ends the job.
class FlashJob {
public:
    /// `flashFolder` holds the sessions' files. Throws `KelApiException`: UnknownFlashItem for an
    /// item or session that the project does not have, UnknownTarget when the selected vehicle
    /// information does not contain the item's control unit.
    FlashJob(SelectedVehicle selected, const std::wstring& itemName,
             const std::vector<std::wstring>& sessionNames, std::filesystem::path flashFolder);

    /// Reports each whole percent of each session; the last report carries the outcome of the last
    /// session, or no session name when the job ended before the first session began. A trace about
    /// the end of the job precedes the last report.
    void run(JobReport<FlashResult>& report, const std::stop_token& cancel) const;

private:
    [[nodiscard]] const FlashSessionDescription& findSession(const std::wstring& name) const;
    /// Reads all files before the first request is sent, so that a missing or wrong file leaves the
    /// vehicle unchanged.
    [[nodiscard]] std::vector<Uds::Bytes> readFiles(ControlUnitFlashResult& current,
                                                    const std::stop_token& cancel) const;
    void flashAll(JobReport<FlashResult>& report, ControlUnitFlashResult& current,
                  const std::stop_token& cancel) const;
    /// One session. The control unit is in the default session afterwards, or as soon as it has
    /// ended what a cancelled job has begun.
    void flash(const FlashImage& image, const FlashDownload::OnProgress& onProgress,
               const std::stop_token& cancel) const;
    /// `error` is null after a success.
    void traceEnd(const FlashJobError* error) const;
    [[nodiscard]] std::wstring placeText(const std::wstring& sessionName) const;

    SelectedVehicle vehicle;
    /// Points into the vehicle's project, as do the sessions.
    const FlashItem* item;
    const ProjectTarget* controlUnit;
    std::vector<const FlashSessionDescription*> sessions;
    std::filesystem::path folder;
};

} // namespace Quarlen::Kel_cpp
