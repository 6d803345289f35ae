#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Quarlen::Kel_cpp {

/// What the SOVD server tells about the vehicle. Called from HTTP worker threads.
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
    explicit SovdServer(SovdModel model);
    SovdServer(const SovdServer&) = delete;
    SovdServer& operator=(const SovdServer&) = delete;
    ~SovdServer();

    /// Returns once it serves; port 0 takes any free one. Throws `KelApiException` (code Sovd) that
    /// names the address and the cause, also when it runs already.
    void start(std::uint16_t port);
    /// Does nothing when it does not run.
    void stop();
    /// 0 when it does not run.
    [[nodiscard]] std::uint16_t port() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace Quarlen::Kel_cpp
