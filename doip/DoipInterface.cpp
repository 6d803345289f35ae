#include "doip/DoipInterface.hpp"

#include <utility>

#include "doip/TesterConnection.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip {

namespace {

class DoipEndpoint final : public Uds::Endpoint {
public:
    DoipEndpoint(std::shared_ptr<TesterConnection> connection, std::uint16_t address,
                 Inbox::Answers answers)
        : connection(std::move(connection)), inbox(this->connection->openInbox(address, answers)) {}

    void send(const Uds::Bytes& message, const Uds::Patience& patience) override {
        connection->send(*inbox, message, patience);
    }
    std::optional<Uds::Received> receive(const Uds::Patience& patience) override {
        return connection->receive(*inbox, patience);
    }

private:
    const std::shared_ptr<TesterConnection> connection;
    const std::shared_ptr<Inbox> inbox;
};

} // namespace

DoipInterface::DoipInterface(const DoipSettings& settings, Platform::Clock& clock)
    : connection(std::make_shared<TesterConnection>(settings, clock)) {}

DoipInterface::~DoipInterface() {
    connection->close();
}

void DoipInterface::open(const std::stop_token& cancel) {
    connection->open(cancel);
}

void DoipInterface::close() noexcept {
    connection->close();
}

Uds::VehicleInterface::State DoipInterface::state() const {
    return connection->link().get();
}

void DoipInterface::onLost(OnLost listener) {
    connection->link().onLost(std::move(listener));
}

Uds::UnitAddress DoipInterface::resolve(const Uds::UnitAddress& unit) const {
    if (!unit.physical) {
        throw Uds::LinkError(L"logical link \"" + unit.link +
                             L"\" has no address in the project, and over a network a control unit "
                             L"is found by its address");
    }
    if (unit.tester && *unit.tester != tester()) {
        throw Uds::LinkError(L"logical link \"" + unit.link + L"\" is for the tester " +
                             addressText(*unit.tester) + L", but the interface is " +
                             addressText(connection->settings().tester));
    }
    Uds::UnitAddress resolved = unit;
    resolved.tester = tester();
    return resolved;
}

std::optional<std::uint16_t> DoipInterface::tester() const {
    return connection->settings().tester;
}

std::unique_ptr<Uds::Endpoint> DoipInterface::openEndpoint(const Uds::UnitAddress& unit) {
    return std::make_unique<DoipEndpoint>(connection, unit.physical.value(),
                                          Inbox::Answers::FromOne);
}

std::unique_ptr<Uds::Endpoint> DoipInterface::openFunctional(std::uint16_t address) {
    return std::make_unique<DoipEndpoint>(connection, address, Inbox::Answers::FromAll);
}

} // namespace Quarlen::Doip
