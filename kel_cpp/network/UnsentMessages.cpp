#include "kel_cpp/network/UnsentMessages.hpp"

#include <algorithm>
#include <utility>

namespace Quarlen::Kel_cpp {

void UnsentMessages::add(Message message, bool isAnswer) {
    byteCount += message->size();
    messages.push_back({std::move(message), isAnswer});
}

bool UnsentMessages::removeFirst() {
    const bool wasAnswer = messages.front().isAnswer;
    byteCount -= messages.front().text->size();
    messages.pop_front();
    return wasAnswer;
}

void UnsentMessages::dropOthers() {
    messages.erase(messages.begin() + 1, messages.end());
    byteCount = first()->size();
}

bool UnsentMessages::hasNotifications(std::size_t count) const {
    // Counted only where it can matter: each client hears of each status.
    return messages.size() >= count &&
           static_cast<std::size_t>(
               std::count_if(messages.begin(), messages.end(),
                             [](const Unsent& each) { return !each.isAnswer; })) >= count;
}

} // namespace Quarlen::Kel_cpp
