#include "simulation/ServiceRule.hpp"

#include <algorithm>

namespace Quarlen::Simulation {

using Uds::Service;

constinit const std::array<SimulatedControlUnit::ServiceRule, 16>
    SimulatedControlUnit::ServiceRule::all{{
        {Service::TransferData, Uds::Session::Programming,
         [](Unit& unit, Request request) { return unit.flash.transferData(request); }},
        {Service::DiagnosticSessionControl, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.controlSession(request); }},
        {Service::EcuReset, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.reset(request); }},
        {Service::ClearDiagnosticInformation, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.faultMemory.clear(request); }},
        {Service::ReadDtcInformation, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.faultMemory.read(request); }},
        {Service::ReadDataByIdentifier, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.data.read(request); }},
        {Service::ReadMemoryByAddress, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.flash.readMemory(request, unit.access()); }},
        {Service::SecurityAccess, Uds::Session::Extended,
         [](Unit& unit, Request request) {
             return unit.security.handle(request, unit.clock.now());
         }},
        {Service::CommunicationControl, Uds::Session::Extended,
         [](Unit& unit, Request request) { return unit.network.controlCommunication(request); }},
        {Service::WriteDataByIdentifier, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.data.write(request, unit.access()); }},
        {Service::InputOutputControlByIdentifier, Uds::Session::Extended,
         [](Unit& unit, Request request) { return unit.data.control(request, unit.access()); }},
        {Service::RoutineControl, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.controlRoutine(request); }},
        {Service::RequestDownload, Uds::Session::Programming,
         [](Unit& unit, Request request) {
             return unit.flash.requestDownload(request, unit.access());
         }},
        {Service::RequestTransferExit, Uds::Session::Programming,
         [](Unit& unit, Request request) { return unit.flash.transferExit(request); }},
        {Service::TesterPresent, Uds::Session::Default,
         [](Unit& unit, Request request) { return unit.stayPresent(request); }},
        {Service::ControlDtcSetting, Uds::Session::Extended,
         [](Unit& unit, Request request) { return unit.network.controlDtcSetting(request); }},
    }};

const SimulatedControlUnit::ServiceRule* SimulatedControlUnit::findRule(std::uint8_t serviceId) {
    const auto& rules = ServiceRule::all;
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const auto& candidate) {
        return static_cast<std::uint8_t>(candidate.service) == serviceId;
    });
    return rule == rules.end() ? nullptr : &*rule;
}

} // namespace Quarlen::Simulation
