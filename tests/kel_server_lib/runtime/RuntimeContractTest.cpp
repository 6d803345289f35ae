#include "std_util/SystemInformation.hpp"
#include "tests/support/ConfigFolder.hpp"
#include "tests/support/KelApiContract.hpp"

namespace Quarlen::Tests {

namespace {

/// The configuration beside this program, where every runtime looks for it, and the runtime that
/// the program is linked with: they go together, the runtime first.
struct RuntimeInPlace {
    Tests::ConfigFolder folder{StdUtil::SystemInformation::getInstallationPath().path()};
    std::shared_ptr<Kel_cpp::KelApi> runtime = Kel_cpp::getKelApi();
};

std::shared_ptr<Kel_cpp::KelApi> makeRuntime() {
    const auto owner = std::make_shared<RuntimeInPlace>();
    owner->runtime->initialize();
    return {owner, owner->runtime.get()};
}

KelApiContractSubject builtInRuntime() {
    return {.label = "BuiltInRuntime",
            .makeRuntime = makeRuntime,
            .project = L"Car_DEMO0000000042",
            .vehicleInformation = L"VIT_A",
            .controlUnit = L"GATEWAY",
            .logicalLink = L"UDS_CAN_D",
            .procedure = L"Otx_ReadIdent",
            .slowProcedure = L"Otx_Slow",
            .flashItem = L"ENGINE",
            .unlock = L"UnlockGateway",
            .unlockParameter = L"level1"};
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Runtime, KelApiContract, testing::Values(builtInRuntime()), subjectLabel);

} // namespace Quarlen::Tests
