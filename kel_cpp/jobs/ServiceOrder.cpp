#include "kel_cpp/jobs/ServiceOrder.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/jobs/OtxRun.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr const wchar_t* rawService = L"HexService";

/// Merges the result of a step into the result of the whole input; the first failure is kept.
void merge(ServiceResult& whole, ServiceResult& step) {
    std::move(step.responses.begin(), step.responses.end(), std::back_inserter(whole.responses));
    if (whole.error == 0) {
        whole.error = step.error;
        whole.errorText = std::move(step.errorText);
    }
}

} // namespace

ServiceOrder ServiceOrder::toTarget(SelectedVehicle vehicle, const std::wstring& target,
                                    const RecordList<ServiceInput>& inputs) {
    if (target == otxTarget) {
        return {std::move(vehicle), {}, inputs};
    }
    if (!knowsLink(*vehicle.project, target)) {
        throw runtimeError(ErrorCode::UnknownTarget, L"project " + inQuotes(vehicle.project->name) +
                                                         L" has no service target " +
                                                         inQuotes(target));
    }
    return {std::move(vehicle), target, inputs};
}

ServiceOrder ServiceOrder::overLink(SelectedVehicle vehicle, const std::wstring& logicalLink,
                                    const RecordList<ServiceInput>& inputs) {
    if (!knowsLink(*vehicle.project, logicalLink)) {
        throw runtimeError(ErrorCode::UnknownLogicalLink,
                           L"project " + inQuotes(vehicle.project->name) +
                               L" has no logical link " + inQuotes(logicalLink));
    }
    return {std::move(vehicle), logicalLink, inputs};
}

ServiceOrder::ServiceOrder(SelectedVehicle selected, std::wstring link,
                           const RecordList<ServiceInput>& inputs)
    : vehicle(std::move(selected)), logicalLink(std::move(link)) {
    for (const auto& input : inputs) {
        items.push_back(checkedItem(input));
    }
}

ServiceOrder::Item ServiceOrder::checkedItem(const std::shared_ptr<ServiceInput>& input) const {
    if (!input) {
        throw runtimeError(ErrorCode::UnknownService, L"a service input is missing");
    }
    if (input->serviceName != rawService) {
        return {&procedureOnOffer(input->serviceName), {}};
    }
    if (logicalLink.empty()) {
        throw runtimeError(ErrorCode::UnknownService,
                           L"a raw request needs a logical link as its target, not " +
                               inQuotes(otxTarget));
    }
    if (input->requestBytes.empty()) {
        throw runtimeError(ErrorCode::UnknownService, L"a raw request to logical link " +
                                                          inQuotes(logicalLink) + L" has no bytes");
    }
    return {nullptr, input->requestBytes};
}

const OtxProcedure& ServiceOrder::procedureOnOffer(const std::wstring& name) const {
    const auto& onOffer = vehicle.information->procedures;
    const OtxProcedure* const procedure = vehicle.project->findProcedure(name);
    if (procedure == nullptr || std::find(onOffer.begin(), onOffer.end(), name) == onOffer.end()) {
        throw runtimeError(ErrorCode::UnknownService,
                           L"vehicle information " + inQuotes(vehicle.information->name) +
                               L" of project " + inQuotes(vehicle.project->name) +
                               L" has no procedure " + inQuotes(name));
    }
    return *procedure;
}

bool ServiceOrder::isProcedure() const {
    return !items.empty() && items.front().procedure != nullptr;
}

std::wstring ServiceOrder::name() const {
    if (items.empty()) {
        return {};
    }
    return isProcedure() ? items.front().procedure->name : rawService;
}

RecordList<ServiceResult> ServiceOrder::execute(const std::stop_token& cancel,
                                                Platform::Clock& clock) const {
    const VehicleAccess::Turn turn = vehicle.access->takeTurn(cancel);
    RecordList<ServiceResult> results;
    for (const Item& item : items) {
        const auto& whole = results.emplace_back(std::make_shared<ServiceResult>());
        executeItem(item, cancel, clock,
                    [&](std::shared_ptr<ServiceResult> step) { merge(*whole, *step); });
    }
    return results;
}

void ServiceOrder::executeAsJob(JobReport<ServiceResult>& report, const std::stop_token& cancel,
                                Platform::Clock& clock) const {
    RecordList<ServiceResult> last;
    try {
        const VehicleAccess::Turn turn = vehicle.access->takeTurn(cancel);
        for (const Item& item : items) {
            executeItem(item, cancel, clock,
                        [&](std::shared_ptr<ServiceResult> step) { report.add(std::move(step)); });
        }
    } catch (const Uds::Cancelled&) {
        last.push_back(failedResult(ServiceError::Cancelled, L"cancelled"));
    } catch (...) {
        last.push_back(failedResult(ServiceError::Internal, currentExceptionText()));
    }
    report.finish(std::move(last));
}

template <class OnResult>
void ServiceOrder::executeItem(const Item& item, const std::stop_token& cancel,
                               Platform::Clock& clock, const OnResult& onResult) const {
    if (item.procedure == nullptr) {
        onResult(exchangeRaw(*vehicle.access, vehicle.project->addressOf(logicalLink), item.request,
                             cancel));
        return;
    }
    const OtxRun::OnResult forward = onResult;
    OtxRun(*vehicle.access, *vehicle.project, cancel, clock, forward).run(*item.procedure);
}

} // namespace Quarlen::Kel_cpp
