#include <algorithm>
#include <exception>
#include <utility>

#include "doip/TesterConnection.hpp"
#include "platform/SystemError.hpp"

// What a tester does with what arrives.

namespace Quarlen::Doip {

namespace {

/// Of one connection: a vehicle that floods does not fill the trace.
constexpr std::size_t maxNotes = 20;

} // namespace

void TesterConnection::beginReading(std::shared_ptr<TcpTransport> fresh) {
    reader.reset();
    {
        const std::lock_guard lock(state.mutex);
        transport = fresh;
    }
    // A former one may still have something to tell, which concerns nobody any more.
    const auto isCurrent = [this, own = fresh.get()] { return connected().get() == own; };
    TcpTransport::Reader own;
    own.onBytes = [this, isCurrent](std::span<const std::uint8_t> bytes) {
        if (isCurrent()) {
            takeSafely(bytes, TimePoint::max());
        }
    };
    own.onEnd = [this, isCurrent](const std::wstring& cause) {
        if (isCurrent()) {
            fail(reader.isInMessage() ? cause + L" in the middle of a message" : cause);
        }
    };
    own.isAwaited = [this] { return inboxes.isAwaited(); };
    fresh->read(std::move(own));
}

/// A failure that nobody expects (no memory, for instance) ends the connection, not its reader.
void TesterConnection::takeSafely(std::span<const std::uint8_t> bytes, TimePoint latest) {
    latestArrival = latest;
    lastArrival = clock.now();
    try {
        take(bytes);
    } catch (const std::exception& error) {
        fail(Platform::exceptionText(error));
        connected()->shutDown();
    }
}

void TesterConnection::take(std::span<const std::uint8_t> bytes) {
    try {
        reader.add(bytes);
        while (const auto message = reader.next()) {
            take(*message);
        }
    } catch (const MalformedMessage& error) {
        fail(L"the vehicle at " + connected()->peer() + L" has sent what is no message of DoIP: " +
             error.message());
        connected()->shutDown();
    }
}

void TesterConnection::take(const Message& message) {
    switch (static_cast<PayloadType>(message.type)) {
    case PayloadType::DiagnosticMessage:
        takeDiagnostic(decodeDiagnosticMessage(message.payload));
        return;
    case PayloadType::DiagnosticMessageAck:
        takeAcknowledgement(decodeDiagnosticAck(message.payload));
        return;
    case PayloadType::DiagnosticMessageNack:
        takeRefusal(decodeDiagnosticNack(message.payload));
        return;
    case PayloadType::AliveCheckRequest:
        answer(PayloadType::AliveCheckResponse, encodeAddress(options.tester));
        return;
    case PayloadType::RoutingActivationResponse:
        takeActivation(decodeRoutingActivationResponse(message.payload));
        return;
    case PayloadType::HeaderNack:
        takeHeaderNack(decodeHeaderNack(message.payload), message.version);
        return;
    default:
        note(L"what no tester has to understand: " + payloadTypeText(message.type));
    }
}

void TesterConnection::takeDiagnostic(const DiagnosticMessage& message) {
    if (message.target != options.tester) {
        note(L"a message from " + addressText(message.source) + L" to another tester, " +
             addressText(message.target));
        return;
    }
    std::shared_ptr<Inbox> receiver;
    bool keptAll = true;
    {
        const std::lock_guard lock(state.mutex);
        receiver = inboxes.receiverOf(message.source, message.data);
        if (receiver) {
            keptAll =
                receiver->add(message.source, message.data, std::min(clock.now(), latestArrival));
            inboxes.endWait(*receiver);
        }
    }
    if (!receiver) {
        note(L"a message from " + addressText(message.source) +
             L", which nobody has asked anything");
        return;
    }
    receiver->changed.notify_all();
    if (!keptAll) {
        note(L"more messages from " + addressText(message.source) +
             L" than anybody takes; the oldest are dropped");
    }
}

void TesterConnection::takeAcknowledgement(const DiagnosticAck& ack) {
    const std::lock_guard lock(state.mutex);
    if (const auto asker = askerOf(ack)) {
        asker->noteTaken();
    }
}

void TesterConnection::takeRefusal(const DiagnosticAck& nack) {
    const std::lock_guard lock(state.mutex);
    if (const auto asker = askerOf(nack)) {
        refuse(*asker, nack.code);
    }
}

/// Whose message it acknowledges or refuses; null where nobody waits for that. With the mutex of
/// the state held.
std::shared_ptr<Inbox> TesterConnection::askerOf(const DiagnosticAck& ack) {
    const auto named = inboxes.longestUntakenAt(ack.source);
    // Some gateways acknowledge everything in their own name.
    const auto longest = inboxes.longestUntaken();
    entityTakesAll = entityTakesAll || (longest && !named && ack.source == entity);
    return named && !(entityTakesAll && ack.source == entity) ? named : longest;
}

/// With the mutex of the state held.
void TesterConnection::refuse(Inbox& asker, std::uint8_t code) {
    asker.noteRefused(code);
    inboxes.endWait(asker);
    asker.changed.notify_all();
}

void TesterConnection::takeHeaderNack(std::uint8_t code, std::uint8_t theirVersion) {
    const auto meaning = static_cast<HeaderNackCode>(code);
    const bool isTooLarge = meaning == HeaderNackCode::MessageTooLarge;
    if (state.isOpen() && (isTooLarge || meaning == HeaderNackCode::OutOfMemory)) {
        if (!refuseOldest(isTooLarge ? DiagnosticNackCode::MessageTooLarge
                                     : DiagnosticNackCode::OutOfMemory)) {
            note(L"a refusal of a message that nobody has sent: " + headerNackText(code));
        }
        return;
    }
    // Of an alive check response that it has not asked for, perhaps.
    if (state.isOpen() && meaning == HeaderNackCode::UnknownPayloadType) {
        note(L"a refusal that concerns one message: " + headerNackText(code));
        return;
    }
    if (meaning == HeaderNackCode::IncorrectPattern && theirVersion != version) {
        otherVersion = theirVersion;
    }
    fail(L"the vehicle at " + connected()->peer() + L" does not understand the tester: " +
         headerNackText(code));
}

/// A refusal in a header names no address. False when nobody waits for an acknowledgement.
bool TesterConnection::refuseOldest(DiagnosticNackCode code) {
    const std::lock_guard lock(state.mutex);
    const auto asker = inboxes.longestUntaken();
    if (asker) {
        refuse(*asker, static_cast<std::uint8_t>(code));
    }
    return asker != nullptr;
}

void TesterConnection::takeActivation(const RoutingActivationResponse& response) {
    if (response.tester != options.tester) {
        note(L"a routing activation of another tester, " + addressText(response.tester));
        return;
    }
    // The first answer counts; only the wait for a confirmation ends with another one.
    const bool isAnswered = activation && !activation->mustBeConfirmed();
    if (state.isOpen() || isAnswered) {
        note(L"a routing activation that nobody has asked for: " + routingCodeText(response.code));
        return;
    }
    entity = response.entity;
    activation = response;
}

std::optional<std::uint64_t> TesterConnection::answer(PayloadType type, const Bytes& payload) {
    return connected()->writeLater(encode(type, payload, version));
}

void TesterConnection::fail(const std::wstring& cause) {
    if (state.get() == Uds::LinkState::State::Open) {
        lose(cause);
    } else if (failure.empty()) {
        failure = cause;
    }
}

void TesterConnection::note(const std::wstring& text) {
    if (options.onNote && notes < maxNotes) {
        ++notes;
        options.onNote(L"the vehicle at " + connected()->peer() + L" sends " + text +
                       (notes == maxNotes ? L"; further messages of this kind are not told" : L""));
    }
}

} // namespace Quarlen::Doip
