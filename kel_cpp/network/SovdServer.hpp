#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kel_cpp/network/SovdTimes.hpp"
#include "platform/FreeAddress.hpp"
#include "platform/NextClient.hpp"

namespace Quarlen::Kel_cpp {

/// The data that the SOVD server publishes. HTTP worker threads call its functions.
struct SovdModel {
    struct Component {
        std::string id;
        std::string name;
    };

    std::function<std::string()> serverVersion;
    std::function<std::vector<Component>()> components;
};

/// A small read-only server in the shape of SOVD (ASAM SOVD / ISO 17978-3): version information and
/// the components of the selected vehicle information, as JSON over HTTP, on 127.0.0.1.
class SovdServer {
public:
    explicit SovdServer(SovdModel model, Platform::ClientSource clients = {},
                        Platform::AddressProbe probe = {}, SovdTimes times = {});
    SovdServer(const SovdServer&) = delete;
    SovdServer& operator=(const SovdServer&) = delete;
    ~SovdServer();

    /// Returns once the server accepts requests; port 0 takes any free port. Throws
    /// `KelApiException` (code Sovd) that names the address and the cause, also when the server is
    /// already running.
    void start(std::uint16_t port);
    /// Does nothing when the server is not running.
    void stop();
    /// 0 when the server is not running.
    [[nodiscard]] std::uint16_t port() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace Quarlen::Kel_cpp
