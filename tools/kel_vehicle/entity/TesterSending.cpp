#include <utility>

#include <boost/asio/buffer.hpp>

#include "platform/ConnectionSocket.hpp"
#include "platform/SystemError.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"
#include "tools/kel_vehicle/entity/TesterConnection.hpp"

// What goes to a tester: at once, later, or byte by byte.

namespace Quarlen::KelVehicle {

bool TesterConnection::mayWait(std::size_t more) {
    const auto hasRoom = [&] { return outbox.size() + scheduled + more <= maxUnsent; };
    // What is only held back takes nobody's room.
    if (!hasRoom()) {
        flush();
    }
    if (hasRoom()) {
        return true;
    }
    cut(L"the tester does not read what it is sent");
    return false;
}

void TesterConnection::send(Doip::PayloadType type, const Doip::Bytes& payload,
                            Milliseconds byteInterval) {
    if (state != State::Open || !mayWait(payload.size())) {
        return;
    }
    outbox.add(Doip::encode(type, payload, version), byteInterval);
    if (!holdsBack) {
        write();
    }
}

void TesterConnection::flush() {
    if (std::exchange(holdsBack, false)) {
        write();
    }
}

void TesterConnection::sendAt(EventLoop::TimePoint due, Doip::PayloadType type, Doip::Bytes payload,
                              Milliseconds byteInterval, BeforeIt beforeIt) {
    const std::size_t size = payload.size() + perMessage;
    if (state != State::Open || !mayWait(size)) {
        return;
    }
    scheduled += size;
    const auto number = ++laterCount;
    const auto key = context.loop.sendAt(due, [this, number] { sendLater(number); });
    later.emplace(number, Later{key, type, std::move(payload), byteInterval, std::move(beforeIt)});
}

/// Nothing of it is left when the connection has ended.
void TesterConnection::sendLater(std::uint64_t number) {
    const auto self = shared_from_this();
    const auto node = later.extract(number);
    const Later& message = node.mapped();
    scheduled -= message.payload.size() + perMessage;
    message.beforeIt(message.payload);
    send(message.type, message.payload, message.byteInterval);
}

void TesterConnection::dropLater() {
    for (const auto& [number, message] : later) {
        context.loop.cancelSend(message.key);
    }
    later.clear();
    scheduled = 0;
}

void TesterConnection::dropNextByte() {
    if (nextByte) {
        context.loop.cancelSend(*nextByte);
        nextByte.reset();
    }
}

/// Whatever the system does not take at once waits. No message is put into the segment of another
/// one, also where the tester's window is full; on Windows two sends without delay are all that can
/// be done for that.
void TesterConnection::write() {
    while (!outbox.isEmpty() && !waitsToWrite && state != State::Ended) {
        const auto piece = outbox.piece();
        boost::system::error_code error;
        const std::size_t count = socket.send(boost::asio::buffer(piece.data(), piece.size()),
                                              Platform::segmentFlags(outbox.hasSecond()), error);
        if (error == boost::asio::error::would_block) {
            waitToWrite();
        } else if (error) {
            cut(L"the connection was lost: " + Platform::errorText(error));
        } else {
            onWritten(count);
        }
    }
    shutDownIfSent();
}

void TesterConnection::waitToWrite() {
    waitsToWrite = true;
    socket.async_wait(Socket::wait_write, [self = shared_from_this()](const auto& /*error*/) {
        // An error shows again when the socket is written to.
        self->waitsToWrite = false;
        self->write();
    });
}

void TesterConnection::onWritten(std::size_t count) {
    lastActivity = context.loop.clock().now();
    const Milliseconds pause = outbox.take(count);
    if (pause.count() > 0) {
        waitsToWrite = true;
        nextByte = context.loop.sendAt(lastActivity + pause, [this] {
            const auto self = shared_from_this();
            nextByte.reset();
            waitsToWrite = false;
            write();
        });
    }
}

} // namespace Quarlen::KelVehicle
