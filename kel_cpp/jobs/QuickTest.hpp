#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"
#include "kel_server_lib/runtime/JobRecords.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

/// Reads identification and fault memory of control units, of many at the same time: each has one
/// request at a time.
class QuickTest {
public:
    /// Each of them takes a thread that mostly waits.
    static constexpr std::size_t defaultUnitsAtOnce = 128;

    /// Each control unit is tested once, however often `config` names it. Only the eight status
    /// bits of ISO 14229-1 D.2 in `mask` are used.
    QuickTest(SelectedVehicle selected, const QuicktestConfig& config, std::uint32_t mask);

    /// One report for each control unit, in the order of the targets and as soon as it and those
    /// before it are done, then an empty last one. A control unit that
    /// cannot be tested is reported with the reason; when the connection is lost, that are all that
    /// are left. One trace summarizes the whole test before the last report.
    void run(JobReport<QuickTestResult>& report, const std::stop_token& cancel,
             std::size_t unitsAtOnce = defaultUnitsAtOnce) const;

    /// Control units that are to be tested.
    [[nodiscard]] std::size_t unitCount() const { return targets.size(); }

private:
    using Result = ControlUnitQuickTestResult;

    class Workers;

    [[nodiscard]] std::shared_ptr<Result> test(const std::wstring& name,
                                               const std::stop_token& cancel) const;
    void readAll(Result& result, Uds::Client& client) const;
    void readIdentification(Result& result, Uds::Client& client) const;
    void readFaultMemory(Result& result, Uds::Client& client) const;
    [[nodiscard]] std::vector<DtcReading> readDtcs(Uds::Client& client,
                                                   const Uds::Bytes& request) const;

    SelectedVehicle vehicle;
    std::vector<std::wstring> targets;
    std::uint8_t statusMask;
};

} // namespace Quarlen::Kel_cpp
