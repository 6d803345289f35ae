#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"
#include "kel_server_lib/runtime/JobRecords.hpp"
#include "platform/Clock.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

/// Reads identification and fault memory of control units, one after the other.
class QuickTest {
public:
    /// Each control unit is tested once, however often `config` names it. Only the eight status
    /// bits of ISO 14229-1 D.2 in `mask` are used.
    QuickTest(SelectedVehicle selected, const QuicktestConfig& config, std::uint32_t mask);

    /// One report for each control unit as it is done, then an empty last one. A control unit that
    /// cannot be tested is reported with the reason. One trace summarizes the whole test before the
    /// last report.
    void run(JobReport<QuickTestResult>& report, const std::stop_token& cancel,
             Platform::Clock& clock) const;

    /// Control units that are to be tested.
    [[nodiscard]] std::size_t unitCount() const { return targets.size(); }

private:
    using Result = ControlUnitQuickTestResult;

    [[nodiscard]] std::shared_ptr<Result>
    test(const std::wstring& name, const std::stop_token& cancel, Platform::Clock& clock) const;
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
