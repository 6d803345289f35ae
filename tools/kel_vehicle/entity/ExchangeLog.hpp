#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "doip/Message.hpp"
#include "doip/Payloads.hpp"

namespace Quarlen::KelVehicle {

/// What the entity tells people: a line for each exchange, and for what becomes of a connection.
/// The lines begin with the local time and the tester's address and port.
class ExchangeLog {
public:
    using Sink = std::function<void(const std::string& line)>;

    /// With an empty sink nothing is put together.
    explicit ExchangeLog(Sink sink) : sink(std::move(sink)) {}

    /// A request or an answer: "0x0E80 > 0x0010 22 F1 90 ReadDataByIdentifier (0x22)".
    void message(const std::string& peer, const Doip::DiagnosticMessage& message) const;
    /// The payload of a diagnostic message.
    void payload(const std::string& peer, const Doip::Bytes& payload) const;
    void event(const std::string& peer, const std::wstring& text) const;

private:
    void line(const std::string& peer, const std::wstring& text) const;

    const Sink sink;
};

/// The bytes of a message, cut, with the names of its service and of what a refusal says.
[[nodiscard]] std::wstring messageText(const Doip::DiagnosticMessage& message);

} // namespace Quarlen::KelVehicle
