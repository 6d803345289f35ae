#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/jobs/JobReport.hpp"
#include "kel_server_lib/runtime/JobRecords.hpp"
#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// Service inputs that have been checked against the selection, so that unknown names are refused
/// before a job is started.
class ServiceOrder {
public:
    /// Target of the procedures, and the kind under which they are listed.
    static constexpr const wchar_t* otxTarget = L"#OTX";

    /// `target` is "#OTX" for procedures, else a logical link, over which raw requests
    /// ("HexService") and procedures may run. Throws `KelApiException`: UnknownTarget,
    /// UnknownService.
    static ServiceOrder toTarget(SelectedVehicle vehicle, const std::wstring& target,
                                 const RecordList<ServiceInput>& inputs);
    /// As `toTarget`, for logical links only. Throws `KelApiException`: UnknownLogicalLink,
    /// UnknownService.
    static ServiceOrder overLink(SelectedVehicle vehicle, const std::wstring& logicalLink,
                                 const RecordList<ServiceInput>& inputs);

    [[nodiscard]] const std::shared_ptr<VehicleAccess>& access() const { return vehicle.access; }

    /// Whether it begins with a procedure, not with a raw request.
    [[nodiscard]] bool isProcedure() const;
    /// The procedure with which it begins, or "HexService"; empty when there is nothing to do.
    [[nodiscard]] std::wstring name() const;

    /// One result for each input, in order, with the responses of all its steps and its first
    /// failure. Throws `Uds::Cancelled`.
    [[nodiscard]] RecordList<ServiceResult> execute(const std::stop_token& cancel,
                                                    Platform::Clock& clock) const;
    /// Sends one report after each step, then the last report, which also reports a cancel.
    void executeAsJob(JobReport<ServiceResult>& report, const std::stop_token& cancel,
                      Platform::Clock& clock) const;

private:
    struct Item {
        /// Null for a raw request. Points into the vehicle's project.
        const OtxProcedure* procedure = nullptr;
        Uds::Bytes request;
    };

    ServiceOrder(SelectedVehicle selected, std::wstring link,
                 const RecordList<ServiceInput>& inputs);
    [[nodiscard]] Item checkedItem(const std::shared_ptr<ServiceInput>& input) const;
    [[nodiscard]] const OtxProcedure& procedureOnOffer(const std::wstring& name) const;
    template <class OnResult>
    void executeItem(const Item& item, const std::stop_token& cancel, Platform::Clock& clock,
                     const OnResult& onResult) const;

    SelectedVehicle vehicle;
    /// Empty for "#OTX".
    std::wstring logicalLink;
    std::vector<Item> items;
};

} // namespace Quarlen::Kel_cpp
