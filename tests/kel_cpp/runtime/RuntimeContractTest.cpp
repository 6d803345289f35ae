#include "tests/kel_cpp/runtime/RuntimeFixture.hpp"
#include "tests/support/KelApiContract.hpp"

namespace Quarlen::TestSupport {

namespace {

/// Owns the folder that its runtime reads from; both go together, the runtime first.
struct RuntimeInFolder {
    Kel_cpp::Tests::ConfigFolder folder;
    Kel_cpp::Runtime runtime{{folder.config(), folder.base(), Platform::systemClock()}};
};

std::shared_ptr<Kel_cpp::KelApi> makeBuiltInRuntime() {
    const auto owner = std::make_shared<RuntimeInFolder>();
    owner->runtime.initialize();
    return {owner, &owner->runtime};
}

KelApiContractSubject builtInRuntime() {
    return {.label = "BuiltInRuntime",
            .makeRuntime = makeBuiltInRuntime,
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

} // namespace Quarlen::TestSupport
