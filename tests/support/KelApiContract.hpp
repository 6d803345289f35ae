#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen::Tests {

/// A runtime to be held against the facade's contract, with the names of what it has to offer.
struct KelApiContractSubject {
    /// Part of the tests' names: letters and digits only.
    std::string label;
    /// A fresh, initialised runtime whose vehicle answers. Called once for each test.
    std::function<std::shared_ptr<Kel_cpp::KelApi>()> makeRuntime;
    std::wstring project;
    std::wstring vehicleInformation;
    /// A control unit of that vehicle information, and its link.
    std::wstring controlUnit;
    std::wstring logicalLink;
    /// A procedure that succeeds, and one that runs for at least five seconds.
    std::wstring procedure;
    std::wstring slowProcedure;
    std::wstring flashItem;
    std::wstring unlock;
    std::wstring unlockParameter;
};

std::ostream& operator<<(std::ostream& stream, const KelApiContractSubject& subject);

/// What every implementation of the facade must keep, whatever runtime is behind it.
///
/// To run another runtime against it, add KelApiContractTest.cpp and KelApiContractJobsTest.cpp to
/// a test program's sources and instantiate the suite there:
///     INSTANTIATE_TEST_SUITE_P(Mine, KelApiContract, testing::Values(subject), subjectLabel);
class KelApiContract : public testing::TestWithParam<KelApiContractSubject> {
protected:
    void SetUp() override { api = GetParam().makeRuntime(); }

    void selectVehicle() const;
    void connect() const;
    [[nodiscard]] std::size_t connectionCount() const;
    static Kel_cpp::RecordList<Kel_cpp::ServiceInput>
    inputOf(const std::wstring& service, std::vector<std::uint8_t> request = {});
    /// A raw request that every control unit answers.
    static Kel_cpp::RecordList<Kel_cpp::ServiceInput> testerPresent();
    /// How long a procedure that is cancelled needs until its last report.
    [[nodiscard]] std::chrono::milliseconds cancelSlowProcedure() const;

    std::shared_ptr<Kel_cpp::KelApi> api;
};

std::string subjectLabel(const testing::TestParamInfo<KelApiContractSubject>& info);

} // namespace Quarlen::Tests
