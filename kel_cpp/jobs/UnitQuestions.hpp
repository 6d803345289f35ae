#pragma once

#include <cstddef>

#include "kel_cpp/report/QuickTestRecords.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

/// What a quick test asks of one control unit. Whatever comes back, a refusal too, makes it one
/// that has answered. Client and result must outlive it.
class UnitQuestions {
public:
    using Result = ControlUnitQuickTestResult;

    UnitQuestions(Uds::Client& client, Result& result) : client(client), unit(result) {}

    /// As `Uds::Client::request`.
    Uds::Bytes request(const Uds::Bytes& message);
    /// As `Uds::Client::readData`.
    Uds::Bytes readData(std::uint16_t dataIdentifier);
    /// A response to ReadDTCInformation; throws `Uds::NoUsableResponse` when it is shorter.
    Uds::Bytes readDtcInformation(const Uds::Bytes& message, std::size_t minimumSize);

    [[nodiscard]] Result& result() const { return unit; }

private:
    template <class Ask>
    Uds::Bytes noteAnswer(const Ask& ask);

    Uds::Client& client;
    Result& unit;
};

[[noreturn]] void throwUnusableDtcInformation(const Uds::Bytes& response);

} // namespace Quarlen::Kel_cpp
