#include "doip/Inboxes.hpp"

#include <algorithm>
#include <utility>

#include "uds/Matching.hpp"

namespace Quarlen::Doip {

namespace {

/// Of messages that nobody has taken. A control unit that floods does not take the memory.
constexpr std::size_t maxWaiting = 256;
constexpr std::size_t maxWaitingBytes = std::size_t{4096} * 1024;
/// More than any answer repeats of its request (ISO 14229-1:2020, RoutineControl).
constexpr std::size_t questionSize = 16;

} // namespace

void Inbox::noteSent(const Bytes& message, TimePoint now) {
    untaken.push_back(now);
    question.clear();
    if (Uds::suppressesPositiveResponse(message)) {
        return;
    }
    question.assign(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(
                                                           std::min(message.size(), questionSize)));
}

void Inbox::noteOut(TimePoint now) noexcept {
    if (!untaken.empty()) {
        untaken.back() = now;
    }
}

void Inbox::noteUnsent() noexcept {
    if (!untaken.empty()) {
        untaken.pop_back();
    }
}

void Inbox::noteTaken() noexcept {
    if (!untaken.empty()) {
        untaken.pop_front();
    }
}

void Inbox::noteRefused(std::uint8_t code) {
    if (!untaken.empty()) {
        untaken.pop_front();
        refusal = code;
        question.clear();
    }
}

bool Inbox::add(std::uint16_t source, const Bytes& data, TimePoint now) {
    if (awaits(data)) {
        // Whatever the vehicle has answered, it has taken.
        untaken.clear();
        if (isOfOne() && !isRefusal(data, Uds::Nrc::ResponsePending)) {
            question.clear();
        }
    }
    arrived.push_back({now, {source, data}});
    arrivedBytes += data.size();
    bool keptAll = true;
    while (arrived.size() > maxWaiting || (arrivedBytes > maxWaitingBytes && arrived.size() > 1)) {
        dropOldest();
        keptAll = false;
    }
    return keptAll;
}

void Inbox::dropOldest() {
    arrivedBytes -= arrived.front().message.bytes.size();
    arrived.pop_front();
}

std::optional<Uds::Received> Inbox::take(TimePoint deadline) {
    if (arrived.empty() || arrived.front().at > deadline) {
        return {};
    }
    arrivedBytes -= arrived.front().message.bytes.size();
    auto message = std::move(arrived.front().message);
    arrived.pop_front();
    return message;
}

std::optional<std::uint8_t> Inbox::takeRefusal() noexcept {
    return std::exchange(refusal, std::nullopt);
}

std::optional<Inbox::TimePoint> Inbox::oldestUntaken() const {
    return untaken.empty() ? std::nullopt : std::optional(untaken.front());
}

bool Inbox::awaits(const Bytes& data) const noexcept {
    return !question.empty() && Uds::matches(question, data);
}

std::shared_ptr<Inbox> Inboxes::open(std::uint16_t address, Inbox::Answers answers) {
    return openIn(answers == Inbox::Answers::FromOne ? physical : functional, address, answers);
}

std::shared_ptr<Inbox> Inboxes::openKeeper(std::uint16_t address) {
    return openIn(keepers, address, Inbox::Answers::FromOne);
}

std::shared_ptr<Inbox> Inboxes::openIn(List& list, std::uint16_t address, Inbox::Answers answers) {
    std::erase_if(list, [](const auto& each) { return each.expired(); });
    auto inbox = std::make_shared<Inbox>(address, answers);
    list.push_back(inbox);
    return inbox;
}

void Inboxes::await(Inbox& inbox) noexcept {
    awaited += std::exchange(inbox.isAwaited, true) ? 0 : 1;
}

void Inboxes::endWait(Inbox& inbox) noexcept {
    awaited -= std::exchange(inbox.isAwaited, false) ? 1 : 0;
}

/// The newest one: an end may be opened before the former one has gone.
std::shared_ptr<Inbox> Inboxes::find(List& list, std::uint16_t address) {
    // NOLINTNEXTLINE(modernize-loop-convert): the compiler has no reversed view yet
    for (auto each = list.rbegin(); each != list.rend(); ++each) {
        if (auto inbox = each->lock(); inbox && inbox->address == address) {
            return inbox;
        }
    }
    return nullptr;
}

std::shared_ptr<Inbox> Inboxes::receiverOf(std::uint16_t source, const Bytes& data) {
    auto own = find(physical, source);
    if (own && own->awaits(data)) {
        return own;
    }
    for (const auto& each : functional) {
        if (auto inbox = each.lock(); inbox && inbox->awaits(data)) {
            return inbox;
        }
    }
    return own;
}

template <class IsMeant>
std::shared_ptr<Inbox> Inboxes::longestUntakenOf(IsMeant isMeant) {
    std::shared_ptr<Inbox> longest;
    for (const List* const list : {&physical, &functional, &keepers}) {
        for (const auto& each : *list) {
            const auto inbox = each.lock();
            const auto since = inbox && isMeant(*inbox) ? inbox->oldestUntaken() : std::nullopt;
            if (since && (!longest || *since < *longest->oldestUntaken())) {
                longest = inbox;
            }
        }
    }
    return longest;
}

std::shared_ptr<Inbox> Inboxes::longestUntakenAt(std::uint16_t address) {
    return longestUntakenOf([&](const Inbox& inbox) { return inbox.address == address; });
}

std::shared_ptr<Inbox> Inboxes::longestUntaken() {
    return longestUntakenOf([](const Inbox& /*inbox*/) { return true; });
}

void Inboxes::wakeAll() noexcept {
    for (const List* const list : {&physical, &functional}) {
        for (const auto& each : *list) {
            if (const auto inbox = each.lock()) {
                inbox->changed.notify_all();
            }
        }
    }
}

} // namespace Quarlen::Doip
