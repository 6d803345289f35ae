#include "tools/kel_vehicle/entity/ExchangeLog.hpp"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "platform/LocalTime.hpp"
#include "platform/TextEncoding.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::KelVehicle {

namespace {

/// Nobody reads the data of a block.
constexpr std::size_t maxShown = 64;

std::string timeText() {
    const auto now = std::chrono::system_clock::now();
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now - second).count();
    const std::tm local = Platform::localTime(std::chrono::system_clock::to_time_t(second));
    std::array<char, 16> text{};
    const int length = std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour,
                                     local.tm_min, local.tm_sec, static_cast<int>(milliseconds));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::wstring bytesText(const Uds::Bytes& bytes) {
    if (bytes.size() <= maxShown) {
        return Uds::hexText(bytes);
    }
    return Uds::hexText({bytes.begin(), bytes.begin() + maxShown}) + L" ... (" +
           std::to_wstring(bytes.size()) + L" bytes)";
}

/// The service that a request or a response belongs to, and what a refusal says.
std::wstring meaningOf(const Uds::Bytes& bytes) {
    if (Uds::isNegative(bytes)) {
        return Uds::serviceText(bytes[1]) + L": " + Uds::nrcText(bytes[2]);
    }
    const bool isResponse = (bytes[0] & Uds::positiveResponseOffset) != 0;
    return Uds::serviceText(
        static_cast<std::uint8_t>(isResponse ? bytes[0] - Uds::positiveResponseOffset : bytes[0]));
}

} // namespace

std::wstring messageText(const Doip::DiagnosticMessage& message) {
    std::wstring text = Doip::addressText(message.source) + L" > " +
                        Doip::addressText(message.target) + L" " + bytesText(message.data);
    if (!message.data.empty()) {
        text += L" " + meaningOf(message.data);
    }
    return text;
}

void ExchangeLog::message(const std::string& peer, const Doip::DiagnosticMessage& message) const {
    if (sink) {
        line(peer, messageText(message));
    }
}

void ExchangeLog::payload(const std::string& peer, const Doip::Bytes& payload) const {
    if (sink) {
        line(peer, messageText(Doip::decodeDiagnosticMessage(payload)));
    }
}

void ExchangeLog::event(const std::string& peer, const std::wstring& text) const {
    if (sink) {
        line(peer, text);
    }
}

void ExchangeLog::line(const std::string& peer, const std::wstring& text) const {
    sink(timeText() + " " + peer + " " + Platform::toUtf8(text));
}

} // namespace Quarlen::KelVehicle
