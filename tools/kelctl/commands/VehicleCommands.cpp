#include "tools/kelctl/commands/VehicleCommands.hpp"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include "doip/EntityQuestion.hpp"
#include "doip/VehicleSearch.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/HostEndpoints.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

constexpr std::uint16_t maxPort = std::numeric_limits<std::uint16_t>::max();

struct ListWish {
    std::int64_t milliseconds = 2000;
    std::uint16_t port = Doip::defaultPort;
};

std::string idText(const Doip::EntityId& id) {
    return Platform::toUtf8(Doip::entityIdText(id));
}

std::string hexText(unsigned value, std::size_t digits) {
    return Platform::toUtf8(Uds::hexNumberText(value, digits));
}

std::string vehicleLine(const Doip::FoundVehicle& found) {
    const auto& told = found.announcement;
    const std::string vin = told.vin.empty() ? "no VIN" : printable(std::string_view(told.vin));
    std::string line = vin + "  " + found.host + "  " + hexText(told.logicalAddress, 4) + "  EID " +
                       idText(told.eid) + "  GID " + (told.gid ? idText(*told.gid) : "none") +
                       "  version " + hexText(found.version, 2);
    if (told.furtherAction != 0) {
        line += "  wants " + Platform::toUtf8(Doip::furtherActionText(told.furtherAction));
    }
    return line;
}

json::object vehicleValue(const Doip::FoundVehicle& found) {
    const auto& told = found.announcement;
    return {{"vin", printable(std::string_view(told.vin))},
            {"eid", idText(told.eid)},
            {"gid", told.gid ? json::value(idText(*told.gid)) : json::value()},
            {"logicalAddress", told.logicalAddress},
            {"host", found.host},
            {"furtherAction", told.furtherAction},
            {"version", found.version}};
}

ExitCode list(const CommandContext& context, const ListWish& wish) {
    Doip::DoipSettings settings;
    settings.port = wish.port;
    settings.onNote = [&context](const std::wstring& text) {
        context.out().line(context.out().coloured(Colour::Note, "note: " + Platform::toUtf8(text)));
    };
    const auto vehicles =
        Doip::findVehicles(settings, std::chrono::milliseconds(wish.milliseconds));
    if (vehicles.empty()) {
        throw Failure(ExitCode::NotReachable,
                      "no vehicle answers or announces itself on UDP port " +
                          std::to_string(wish.port));
    }
    json::array values;
    for (const Doip::FoundVehicle& found : vehicles) {
        context.out().line(vehicleLine(found));
        values.emplace_back(vehicleValue(found));
    }
    context.out().value(values);
    return ExitCode::Done;
}

/// "bench-3" or "bench-3:13400".
Doip::DoipSettings placeOf(const std::string& text) {
    Doip::DoipSettings settings;
    const std::size_t colon = text.rfind(':');
    settings.host = text.substr(0, colon);
    if (colon != std::string::npos) {
        const char* const end = text.data() + text.size();
        std::uint16_t port = 0;
        const auto [parsed, error] = std::from_chars(text.data() + colon + 1, end, port);
        if (error != std::errc() || parsed != end || port == 0) {
            throw Failure(ExitCode::WrongUsage, "behind the colon of " + text +
                                                    " stands no port from 1 to " +
                                                    std::to_string(maxPort));
        }
        settings.port = port;
    }
    if (settings.host.empty()) {
        throw Failure(ExitCode::WrongUsage, "in front of the colon of " + text + " stands no host");
    }
    boost::system::error_code error;
    const auto endpoints =
        endpointsOf(settings.host, static_cast<std::uint16_t>(settings.port), error);
    if (endpoints.empty()) {
        throw Failure(ExitCode::NotReachable, "the vehicle " + text + " cannot be found: " +
                                                  Platform::toUtf8(Platform::errorText(error)));
    }
    settings.host = endpoints.front().address().to_string();
    return settings;
}

/// Nothing and the cause when the vehicle does not tell: an entity need not know every question.
template <class Ask>
auto told(Ask ask, std::string& cause) -> std::optional<decltype(ask())> {
    try {
        return ask();
    } catch (const Uds::ConnectionLost& error) {
        cause = Platform::toUtf8(error.message());
        return {};
    }
}

void print(Output& out, const Doip::EntityStatus& status) {
    out.line(std::string("node type      ") + (status.isGateway ? "gateway" : "node"));
    out.line("sockets        " + std::to_string(status.openSockets) + " open of " +
             std::to_string(status.maxSockets));
    out.line("max data size  " + (status.maxDataSize
                                      ? std::to_string(*status.maxDataSize) + " bytes"
                                      : std::string("not told")));
}

json::object statusValue(const std::optional<Doip::EntityStatus>& status,
                         const std::optional<std::uint8_t>& mode) {
    json::object value{{"nodeType", nullptr},
                       {"openSockets", nullptr},
                       {"maxSockets", nullptr},
                       {"maxDataSize", nullptr},
                       {"powerMode", nullptr}};
    if (status) {
        value["nodeType"] = status->isGateway ? "gateway" : "node";
        value["openSockets"] = status->openSockets;
        value["maxSockets"] = status->maxSockets;
        if (status->maxDataSize) {
            value["maxDataSize"] = *status->maxDataSize;
        }
    }
    if (mode) {
        value["powerMode"] = *mode;
    }
    return value;
}

ExitCode status(const CommandContext& context, const std::string& host) {
    const Doip::DoipSettings settings = placeOf(host);
    std::string noStatus;
    std::string noMode;
    const auto entity = told([&] { return Doip::entityStatus(settings); }, noStatus);
    const auto mode = told([&] { return Doip::powerMode(settings); }, noMode);
    if (!entity && !mode) {
        throw Failure(ExitCode::NotReachable, noStatus);
    }
    Output& out = context.out();
    if (entity) {
        print(out, *entity);
    } else {
        out.line("not told: " + noStatus);
    }
    out.line(mode ? "power mode     " + Platform::toUtf8(Doip::powerModeText(*mode))
                  : "not told: " + noMode);
    out.value(statusValue(entity, mode));
    return ExitCode::Done;
}

} // namespace

void addVehicleCommands(CLI::App& application, CommandContext& context) {
    CLI::App* const vehicle =
        application.add_subcommand("vehicle", "Look for vehicles in the network (DoIP)");
    vehicle->fallthrough();
    vehicle->require_subcommand(1);
    const auto wish = std::make_shared<ListWish>();
    CLI::App* const all =
        addCommand(*vehicle, context, "list", "List the vehicles that answer",
                   "  kelctl vehicle list\n  kelctl --json vehicle list --wait 500",
                   [&context, wish] { return list(context, *wish); });
    constexpr std::int64_t longest = std::chrono::milliseconds(std::chrono::minutes(1)).count();
    all->add_option("--wait", wish->milliseconds, "How long to listen [2000]")
        ->option_text("MS")
        ->check(CLI::Range(std::int64_t{1}, longest));
    all->add_option("--vehicle-port", wish->port, "UDP port of the vehicles [13400]")
        ->option_text("PORT")
        ->check(CLI::Range(std::uint16_t{1}, maxPort));
    const auto host = std::make_shared<std::string>();
    addCommand(*vehicle, context, "status", "Tell sockets and power mode of a vehicle",
               "  kelctl vehicle status 127.0.0.1\n  kelctl vehicle status bench-3:13400",
               [&context, host] { return status(context, *host); })
        ->add_option("HOST", *host, "Name or IPv4 address, with :PORT if not 13400")
        ->required()
        ->check(notEmpty());
}

} // namespace Quarlen::Ctl
