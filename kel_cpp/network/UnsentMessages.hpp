#pragma once

#include <cstddef>
#include <deque>

#include "kel_cpp/network/ClientList.hpp"

namespace Quarlen::Kel_cpp {

/// What one client has not been sent yet, in the order in which it came: answers to its calls, and
/// notifications. The first one is being sent.
class UnsentMessages {
public:
    using Message = Connection::Message;

    void add(Message message, bool isAnswer);
    /// True when it was an answer.
    bool removeFirst();
    /// All but the one that is being sent.
    void dropOthers();

    [[nodiscard]] const Message& first() const { return messages.front().text; }
    [[nodiscard]] bool empty() const { return messages.empty(); }
    [[nodiscard]] std::size_t size() const { return messages.size(); }
    [[nodiscard]] std::size_t bytes() const { return byteCount; }
    /// Whether there are so many, answers left aside.
    [[nodiscard]] bool hasNotifications(std::size_t count) const;

private:
    struct Unsent {
        Message text;
        bool isAnswer = false;
    };

    std::deque<Unsent> messages;
    std::size_t byteCount = 0;
};

} // namespace Quarlen::Kel_cpp
