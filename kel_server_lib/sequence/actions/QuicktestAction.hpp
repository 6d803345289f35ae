#pragma once

#include <memory>
#include <string>

#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// Runs a quick test to its end and, unless `vehicleReportConfig` is null, has the runtime write a
/// report of it. Faults of the vehicle do not matter: false only when the runtime itself failed.
bool runQuicktestAction(RunState& state, RunState::Api api,
                        const std::shared_ptr<Kel_cpp::QuicktestConfig>& quicktestConfig,
                        const std::shared_ptr<Kel_cpp::DtcReadConfig>& dtcReadConfig,
                        const std::wstring& reportName,
                        const std::shared_ptr<Kel_cpp::VehicleReportConfig>& vehicleReportConfig);

} // namespace Quarlen
