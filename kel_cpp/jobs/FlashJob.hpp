#pragma once

#include <filesystem>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// Flashes sessions of one item, in the order given. The first that fails ends the job.
class FlashJob {
public:
    /// `flashFolder` holds the sessions' files. Throws `KelApiException`: UnknownFlashItem for an
    /// item or session that the project does not have, UnknownTarget when the item's control unit
    /// is none of the selected vehicle information.
    FlashJob(SelectedVehicle selected, const std::wstring& itemName,
             const std::vector<std::wstring>& sessionNames, std::filesystem::path flashFolder);

    /// Reports each whole percent of each session; the last report carries the last session's
    /// outcome, or no session's name where the job ended before the first one began. Before it a
    /// trace tells how the job ended.
    void run(JobReport<FlashResult>& report, const std::stop_token& cancel,
             Platform::Clock& clock) const;

private:
    [[nodiscard]] const FlashSessionDescription& findSession(const std::wstring& name) const;
    /// All files are read before the first control unit is touched: a missing or wrong one leaves
    /// the vehicle as it is.
    [[nodiscard]] std::vector<Uds::Bytes> readFiles(FlashResult& current) const;
    void flashAll(JobReport<FlashResult>& report, FlashResult& current,
                  const std::stop_token& cancel, Platform::Clock& clock) const;
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
