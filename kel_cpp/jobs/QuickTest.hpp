#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_cpp/jobs/UnitQuestions.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"
#include "kel_server_lib/runtime/JobRecords.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

/// Reads identification and fault memory of control units, of many at the same time: each has one
/// request at a time. Freeze frames, extended data and mileage are read where they are asked for.
class QuickTest {
public:
    /// Each of them takes a thread that mostly waits.
    static constexpr std::size_t defaultUnitsAtOnce = 128;

    /// Each control unit is tested once, however often `config` names it. Only the eight status
    /// bits of ISO 14229-1 D.2 are used; without any of them no fault is asked for.
    QuickTest(SelectedVehicle selected, const QuicktestConfig& config,
              const DtcReadConfig& dtcConfig);

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
    void readAll(UnitQuestions& questions) const;
    void readIdentification(UnitQuestions& questions) const;
    void readFaultMemory(UnitQuestions& questions) const;
    void readFaultRecords(UnitQuestions& questions) const;
    void readMileage(UnitQuestions& questions) const;
    [[nodiscard]] std::uint8_t statusMask() const {
        return static_cast<std::uint8_t>(dtcRead.statusMask & 0xFFU);
    }

    SelectedVehicle vehicle;
    std::vector<std::wstring> targets;
    DtcReadConfig dtcRead;
    bool mileage;
};

} // namespace Quarlen::Kel_cpp
