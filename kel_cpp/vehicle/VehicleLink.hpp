#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "kel_cpp/uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

/// The interface or the wire failed (as opposed to a control unit that answers with "no").
class LinkError : public std::runtime_error {
public:
    explicit LinkError(std::wstring text)
        : std::runtime_error("LinkError"), messageText(std::move(text)) {}
    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }

private:
    std::wstring messageText;
};

/// One logical link to one control unit: UDS request bytes out, UDS response bytes back. Nobody
/// above it knows what is at the other end. Used by one thread at a time.
class VehicleLink {
public:
    VehicleLink() = default;
    VehicleLink(const VehicleLink&) = delete;
    VehicleLink& operator=(const VehicleLink&) = delete;
    virtual ~VehicleLink() = default;

    /// Throws `LinkError`.
    virtual void send(const Uds::Bytes& request) = 0;
    /// The next response message in order of arrival; nothing when none came within the timeout.
    /// Throws `LinkError`.
    virtual std::optional<Uds::Bytes> receive(std::chrono::milliseconds timeout) = 0;
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

} // namespace Quarlen::Kel_cpp
