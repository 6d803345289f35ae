#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace Quarlen::Uds {

/// An exchange failed for another reason than a negative response. The classes below tell which of
/// them ends everything and which concerns one control unit.
class LinkError : public std::runtime_error {
public:
    explicit LinkError(std::wstring text)
        : std::runtime_error("LinkError"), messageText(std::move(text)) {}
    [[nodiscard]] const std::wstring& message() const noexcept { return messageText; }

private:
    std::wstring messageText;
};

/// The connection to the vehicle is gone, for every control unit behind it.
class ConnectionLost : public LinkError {
public:
    using LinkError::LinkError;
};

/// The vehicle does not let this tester in: the code of the routing activation response
/// (ISO 13400-2:2019, table 49).
class RoutingRefused : public LinkError {
public:
    RoutingRefused(std::uint8_t code, std::wstring text)
        : LinkError(std::move(text)), responseCode(code) {}
    [[nodiscard]] std::uint8_t code() const noexcept { return responseCode; }

private:
    std::uint8_t responseCode;
};

/// The gateway did not pass the message on: the code of the negative acknowledgement
/// (ISO 13400-2:2019, table 28).
class MessageRefused : public LinkError {
public:
    MessageRefused(std::uint8_t code, std::wstring text)
        : LinkError(std::move(text)), refusalCode(code) {}
    [[nodiscard]] std::uint8_t code() const noexcept { return refusalCode; }

private:
    std::uint8_t refusalCode;
};

/// The control unit sent no response or one that does not fit the request, although the interface
/// works.
class NoUsableResponse : public LinkError {
public:
    /// `hasAnswered` where it was something that does not fit, or only a wish for more time.
    explicit NoUsableResponse(std::wstring text, bool hasAnswered = false)
        : LinkError(std::move(text)), answered(hasAnswered) {}
    [[nodiscard]] bool hasAnswered() const noexcept { return answered; }

private:
    bool answered;
};

/// The job that the exchange belongs to was cancelled, or its connection was closed.
class Cancelled : public std::exception {};

} // namespace Quarlen::Uds
