#pragma once

#include <memory>

#include "config/ScriptObjects.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen {

/// The arguments of a quick test, made from a script's action. The tables give unknown texts all
/// bits set, and these go into the masks and types as they are.
struct QuicktestSettings {
    std::shared_ptr<Kel_cpp::QuicktestConfig> quicktest;
    std::shared_ptr<Kel_cpp::DtcReadConfig> dtcRead;
    /// Null when the action asks for no report.
    std::shared_ptr<Kel_cpp::VehicleReportConfig> report;
};

/// Asks the runtime for targets when the action lists some.
QuicktestSettings quicktestSettings(Kel_cpp::KelApi& api, const Config::CfxQuicktestAction& action);

} // namespace Quarlen
