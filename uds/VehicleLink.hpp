#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "uds/Uds.hpp"

namespace Quarlen::Uds {

/// The interface or the connection failed (as opposed to a negative response of a control unit).
class LinkError : public std::runtime_error {
public:
    explicit LinkError(std::wstring text)
        : std::runtime_error("LinkError"), messageText(std::move(text)) {}
    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }

private:
    std::wstring messageText;
};

/// One logical link to one control unit: it sends UDS requests and receives UDS responses as bytes.
/// `VehicleInterface` and `VehicleLink` hide the transport from the UDS client, so that a simulated
/// vehicle and a real one are used alike. An open interface makes the links; the caller owns each
/// link and uses it from one thread at a time, different links also from different threads.
class VehicleLink {
public:
    VehicleLink() = default;
    VehicleLink(const VehicleLink&) = delete;
    VehicleLink& operator=(const VehicleLink&) = delete;
    virtual ~VehicleLink() = default;

    /// Throws `LinkError`.
    virtual void send(const Bytes& request) = 0;
    /// The next response message in order of arrival; nothing when none came within the timeout.
    /// Throws `LinkError`.
    virtual std::optional<Bytes> receive(std::chrono::milliseconds timeout) = 0;
};

/// An open vehicle communication interface. Opening links is safe from any thread.
class VehicleInterface {
public:
    VehicleInterface() = default;
    VehicleInterface(const VehicleInterface&) = delete;
    VehicleInterface& operator=(const VehicleInterface&) = delete;
    virtual ~VehicleInterface() = default;

    /// Throws `LinkError` when the vehicle has no such logical link.
    virtual std::unique_ptr<VehicleLink> openLink(const std::wstring& logicalLink) = 0;
};

} // namespace Quarlen::Uds
