#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/runtime/ServerHandler.hpp"

namespace Quarlen::Tests {

using namespace Kel_cpp;
using testing::IsEmpty;

namespace {

/// True when the fields lie one behind the other in this order: a runtime that was built apart
/// reads them by their place.
template <class... Fields>
bool inOrder(const Fields&... fields) {
    const std::vector<const void*> places{static_cast<const void*>(&fields)...};
    for (std::size_t index = 1; index < places.size(); ++index) {
        if (!std::less<>()(places[index - 1], places[index])) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(Records, AreDestroyedThroughTheirBase) {
    EXPECT_TRUE(std::has_virtual_destructor_v<Record>);
    EXPECT_TRUE(std::has_virtual_destructor_v<KelApi>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ServerHandler>);
    EXPECT_TRUE(std::has_virtual_destructor_v<KelApi::ExecuteServiceCallback>);
    EXPECT_TRUE(
        (std::is_base_of_v<Record, ServiceInput> && std::is_base_of_v<Record, FlashResult>));
}

TEST(Records, AServiceInputStartsEmptyWithItsFieldsInOrder) {
    const ServiceInput input;

    EXPECT_THAT(input.parameters, IsEmpty());
    EXPECT_EQ(input.serviceName, L"");
    EXPECT_THAT(input.requestBytes, IsEmpty());
    EXPECT_EQ(input.context, 0U);
    EXPECT_TRUE(inOrder(input.parameters, input.serviceName, input.requestBytes, input.context));
    EXPECT_TRUE((std::is_same_v<decltype(input.requestBytes), std::vector<std::uint8_t>>));
    EXPECT_TRUE((std::is_same_v<decltype(input.context), std::uint64_t>));
}

TEST(Records, AnUpdatePackageStartsEmptyWithItsFieldsInOrder) {
    const UpdatePackageInfo package;

    for (const std::wstring& text : {package.packagePath, package.name, package.version,
                                     package.stagedPath, package.state, package.message}) {
        EXPECT_EQ(text, L"");
    }
    EXPECT_EQ(package.size, 0U);
    EXPECT_TRUE((std::is_same_v<decltype(package.size), std::uint64_t>));
    EXPECT_TRUE(inOrder(package.packagePath, package.name, package.version, package.stagedPath,
                        package.size, package.state, package.message));
}

TEST(Records, ResultsStartWithoutAnError) {
    EXPECT_EQ(ServiceResult().error, 0);
    EXPECT_THAT(ServiceResult().responses, IsEmpty());
    EXPECT_EQ(FlashResult().jobError, nullptr);
    EXPECT_EQ(FlashJobError().vciServerError, nullptr);
    EXPECT_EQ(FlashResult().progress, 0);
    EXPECT_TRUE((std::is_same_v<decltype(FlashResult::progress), std::uint16_t>));
}

TEST(Records, ConfigurationsStartWithTheirDefaults) {
    EXPECT_TRUE(QuicktestConfig().everyControlUnit);
    EXPECT_THAT(QuicktestConfig().targets, IsEmpty());
    EXPECT_EQ(DtcReadConfig().statusMask, 0U);
    EXPECT_EQ(VehicleReportConfig().serviceMask, 0U);
    EXPECT_THAT(VehicleReportConfig().reportTypes, IsEmpty());
    EXPECT_TRUE(TargetFilter().enabled);
    EXPECT_EQ(ServerAddress().port, 58000);
    EXPECT_EQ(UnlockSession().handle, 0U);
}

TEST(Records, SwitchesStartOff) {
    EXPECT_FALSE(ServerSettings().optionTracing);
    EXPECT_FALSE(ServerSettings().optionOtxListing);
    EXPECT_FALSE(PathSettings().tracing);
    EXPECT_FALSE(PathSettings().tracingSecondary);
    EXPECT_FALSE(InterfaceEntry().enabled);
    EXPECT_FALSE(DataFile().present);
}

TEST(Records, KindsThatTheProgramLooksFor) {
    EXPECT_EQ(TargetEntry::controlUnitKind, 1);
    EXPECT_EQ(ComponentVersion::dpduApiKind, 1);
    EXPECT_EQ(TargetEntry().kind, 0);
    EXPECT_EQ(ComponentVersion().kind, 0);
    EXPECT_EQ(DeviceInfo().hardwareType, HardwareType::Unknown);
}

TEST(Records, TheExceptionCarriesAWideMessageAndASignedCode) {
    const KelApiException exception(L"\u00E4rger", -2147483647 - 1);

    EXPECT_EQ(exception.message(), L"\u00E4rger");
    EXPECT_EQ(exception.code(), INT32_MIN);
    EXPECT_STREQ(exception.what(), "KelApiException");
    EXPECT_TRUE((std::is_same_v<KelApi::JobId, std::uint64_t>));
}

} // namespace Quarlen::Tests
