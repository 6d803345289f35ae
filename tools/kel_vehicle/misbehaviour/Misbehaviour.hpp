#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "uds/Uds.hpp"

/// A vehicle that does what it should not, on request: how a tester takes it is what people want to
/// see. It is decided here, request by request, and done by the entity.
namespace Quarlen::KelVehicle {

enum class MisbehaviourKind : std::uint8_t {
    Pending,
    Silence,
    Late,
    Refuse,
    Close,
    Cut,
    Slow,
    Echo,
    NoAcknowledgement,
    NegativeAcknowledgement
};

/// The command's word for it.
[[nodiscard]] std::wstring kindText(MisbehaviourKind kind);

/// What happens to which requests.
struct Misbehaviour {
    MisbehaviourKind kind = MisbehaviourKind::Silence;
    /// Requests that begin with these bytes.
    Uds::Bytes request{};
    /// The address that the request is sent to; nothing for any.
    std::optional<std::uint16_t> unit{};
    /// It begins with the request of this number, 1 for the first, and happens so many times; with
    /// nothing for ever.
    std::uint32_t at = 1;
    std::optional<std::uint32_t> times{};
    /// For Pending, Late and Slow.
    std::chrono::milliseconds duration{};
    /// For Refuse and NegativeAcknowledgement.
    std::uint8_t code = 0;
};

/// What becomes of one request.
struct Plan {
    enum class Acknowledgement : std::uint8_t { Positive, None, Negative };
    enum class Answer : std::uint8_t { Real, None, Refusal, ClosedConnection };

    Acknowledgement acknowledgement = Acknowledgement::Positive;
    std::uint8_t nackCode = 0;
    Answer answer = Answer::Real;
    std::uint8_t refusalCode = 0;
    /// How long the control unit works in addition, with response pending.
    std::chrono::milliseconds pendingFor{};
    std::chrono::milliseconds lateBy{};
    /// Between two bytes of the answer; 0 for an answer in one piece.
    std::chrono::milliseconds byteInterval{};
    bool hasWrongEcho = false;
    /// In its middle, and the connection is reset.
    bool breaksOff = false;
    /// What strikes, for people; empty when nothing does.
    std::wstring text{};
};

/// Each request is held against all of them.
inline constexpr std::size_t maxMisbehaviours = 1000;

/// Everything that was asked for. Where two of one kind strike the same request, the later one
/// counts. Not thread-safe.
class Misbehaviours {
public:
    /// False, and not taken, when there are `maxMisbehaviours` already.
    bool add(const Misbehaviour& misbehaviour);
    void clear() { rules.clear(); }
    [[nodiscard]] std::size_t size() const noexcept { return rules.size(); }
    /// Counts the request.
    [[nodiscard]] Plan planFor(std::uint16_t target, const Uds::Bytes& request);

private:
    struct Rule {
        Misbehaviour what;
        std::uint64_t seen = 0;

        [[nodiscard]] bool strikes(std::uint16_t target, const Uds::Bytes& request);
    };

    std::vector<Rule> rules;
};

/// The response with its second byte raised by one, so that it seems to belong to another request.
[[nodiscard]] Uds::Bytes withWrongEcho(Uds::Bytes response);

} // namespace Quarlen::KelVehicle
