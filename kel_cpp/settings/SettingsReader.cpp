#include "kel_cpp/settings/SettingsReader.hpp"

#include <limits>

#include "kel_cpp/base/InterfaceParameters.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::SettingsReader {

namespace {

constexpr std::uint64_t maxPort = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint16_t defaultSovdPort = 20002;
constexpr std::uint64_t maxTraceLevel = 4;

void checkRoot(const Xml::File& file) {
    const auto root = file.root();
    file.allowOnly(root,
                   {"ServerAddresses", "BrokerUrl", "BrokerUrlFile", "StartSequence", "F1Sequence",
                    "F2Sequence", "Paths", "Tracing", "Interfaces", "Vehicle", "SovdServer",
                    "Clients", "Access"},
                   {});
    for (const auto section : root.children()) {
        if (section.type() == pugi::node_element) {
            (void)file.singleChild(root, section.name());
        }
    }
}

/// Empty when there is no such element.
std::wstring childText(const Xml::File& file, const pugi::xml_node& parent, const char* element) {
    const auto node = file.singleChild(parent, element);
    if (!node) {
        return {};
    }
    file.allowOnly(node, {}, {});
    return file.content(node);
}

std::shared_ptr<ServerAddress> readAddress(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"IpAddress", "Port"}, {});
    auto entry = std::make_shared<ServerAddress>();
    entry->address = childText(file, node, "IpAddress");
    if (entry->address.empty()) {
        file.fail(node, L"\"ServerAddress\" needs an \"IpAddress\" with an address");
    }
    if (const auto port = file.singleChild(node, "Port")) {
        file.allowOnly(port, {}, {});
        entry->port = static_cast<std::int32_t>(file.contentNumber(port, 1, maxPort));
    }
    return entry;
}

ServerConfiguration readServerConfiguration(const Xml::File& file) {
    const auto root = file.root();
    ServerConfiguration configuration;
    const auto addresses = root.child("ServerAddresses");
    file.allowOnly(addresses, {"ServerAddress"}, {});
    for (const auto node : addresses.children("ServerAddress")) {
        configuration.serverAddresses.push_back(readAddress(file, node));
    }
    configuration.startSequence = childText(file, root, "StartSequence");
    configuration.f1Sequence = childText(file, root, "F1Sequence");
    configuration.f2Sequence = childText(file, root, "F2Sequence");
    return configuration;
}

std::wstring readPath(const Xml::File& file, const pugi::xml_node& parent, const char* element,
                      const std::filesystem::path& folder) {
    return Platform::fromPath(resolve(folder, childText(file, parent, element)));
}

/// Replaces `target` when the element exists and is not empty.
void takePath(std::wstring& target, std::wstring value) {
    if (!value.empty()) {
        target = std::move(value);
    }
}

void readFolders(RuntimeSettings& settings, const Xml::File& file,
                 const std::filesystem::path& folder) {
    const auto paths = file.root().child("Paths");
    file.allowOnly(paths, {"Projects", "Traces", "Reports", "Data"}, {});
    takePath(settings.paths.projectsPath, readPath(file, paths, "Projects", folder));
    takePath(settings.paths.tracesPath, readPath(file, paths, "Traces", folder));
    takePath(settings.paths.reportsPath, readPath(file, paths, "Reports", folder));
    const auto data = resolve(folder, childText(file, paths, "Data"));
    if (!data.empty()) {
        settings.dataFolder = data;
    }
}

void readTracing(RuntimeSettings& settings, const Xml::File& file) {
    const auto tracing = file.root().child("Tracing");
    file.allowNoContent(tracing, {"enabled", "level", "bus"});
    const bool enabled = file.flag(tracing, "enabled", false);
    settings.serverSettings.optionTracing = enabled;
    settings.paths.tracing = enabled;
    settings.paths.tracingSecondary = enabled;
    settings.capturesBus = file.flag(tracing, "bus", false);
    settings.traceLevel = static_cast<int>(file.number(
        tracing, "level", 0, maxTraceLevel, static_cast<std::uint64_t>(settings.traceLevel)));
}

/// Every attribute but name and switch, and those that bind a schema.
void readParameters(InterfaceEntry& entry, const Xml::File& file, const pugi::xml_node& node) {
    file.refuseContent(node);
    for (const auto& attribute : node.attributes()) {
        const std::string_view name = attribute.name();
        if (name == "xmlns") {
            file.failAttribute(node, attribute.name(),
                               L"unknown attribute \"xmlns\" of \"Interface\"");
        }
        if (name != "name" && name != "enabled" && !name.starts_with("xmlns:")) {
            entry.parameters.emplace_back(Platform::fromUtf8(std::string(name)),
                                          file.optionalText(node, attribute.name()));
        }
    }
}

/// The parameters that every interface has.
void checkTimes(const Xml::File& file, const pugi::xml_node& node) {
    for (const auto& [name, max] : interfaceTimes) {
        if (node.attribute(name)) {
            static_cast<void>(file.number(node, name, 1, max));
        }
    }
}

/// Those of the interface over Ethernet. A name that is misspelled must not mean its default, which
/// is any vehicle in the network.
void checkDoip(const Xml::File& file, const pugi::xml_node& node) {
    file.allowNoContent(node, {"name", "enabled", "p2", "p2Star", "deltaP2", "host", "vin", "eid",
                               "port", "testerAddress", "activation"});
    for (const auto& [name, min, max] : doipNumbers) {
        if (node.attribute(name)) {
            static_cast<void>(file.number(node, name, min, max));
        }
    }
    for (const auto& [name, fits, expected] : doipTexts) {
        const std::wstring text = file.optionalText(node, name);
        if (!text.empty() && !fits(text)) {
            file.failValue(node, name, expected);
        }
    }
}

std::shared_ptr<InterfaceGroup> readGroup(const Xml::File& file, const pugi::xml_node& node) {
    file.allowOnly(node, {"Interface"}, {"name"});
    auto group = std::make_shared<InterfaceGroup>();
    group->name = file.requiredText(node, "name");
    for (const auto child : node.children("Interface")) {
        auto entry = std::make_shared<InterfaceEntry>();
        entry->name = file.requiredText(child, "name");
        entry->enabled = file.flag(child, "enabled", false);
        readParameters(*entry, file, child);
        checkTimes(file, child);
        if (entry->name == doipName) {
            checkDoip(file, child);
        }
        group->interfaces.push_back(std::move(entry));
    }
    return group;
}

void readInterfaces(RuntimeSettings& settings, const Xml::File& file) {
    const auto section = file.root().child("Interfaces");
    if (!section) {
        return;
    }
    file.allowOnly(section, {"Group"}, {});
    settings.interfaces.groups.clear();
    for (const auto node : section.children("Group")) {
        settings.interfaces.groups.push_back(readGroup(file, node));
    }
}

InterfaceSettings defaultInterfaces() {
    auto simulation = std::make_shared<InterfaceEntry>();
    simulation->name = L"Simulation";
    simulation->enabled = true;
    auto group = std::make_shared<InterfaceGroup>();
    group->name = L"Default";
    group->interfaces.push_back(std::move(simulation));
    InterfaceSettings settings;
    settings.groups.push_back(std::move(group));
    return settings;
}

/// A server without room for a client or a message would be of no use.
ClientLimits readClientLimits(const Xml::File& file) {
    constexpr std::uint64_t maxClients = 10000;
    constexpr std::uint64_t minMessage = 1024;
    constexpr std::uint64_t maxMessage = std::uint64_t{16} << 20U;
    constexpr std::uint64_t maxIdleSeconds = 86400;
    // Fewer are on their way to a client that reads all the time.
    constexpr std::uint64_t minUnsent = 10;
    constexpr std::uint64_t maxUnsent = 100000;
    const auto clients = file.root().child("Clients");
    file.allowNoContent(clients, {"max", "messageBytes", "idleSeconds", "unsentTexts"});
    ClientLimits limits;
    limits.maxClients = file.number(clients, "max", 1, maxClients, limits.maxClients);
    limits.maxMessage =
        file.number(clients, "messageBytes", minMessage, maxMessage, limits.maxMessage);
    limits.maxIdle =
        std::chrono::seconds(file.number(clients, "idleSeconds", 1, maxIdleSeconds,
                                         static_cast<std::uint64_t>(limits.maxIdle.count())));
    limits.maxUnsent = file.number(clients, "unsentTexts", minUnsent, maxUnsent, limits.maxUnsent);
    return limits;
}

std::filesystem::path readTokenFile(const Xml::File& file, const std::filesystem::path& folder) {
    const auto access = file.root().child("Access");
    file.allowNoContent(access, {"tokenFile"});
    return access ? resolve(folder, file.requiredText(access, "tokenFile"))
                  : std::filesystem::path();
}

} // namespace

RuntimeSettings defaults(const std::filesystem::path& folder) {
    RuntimeSettings settings;
    settings.paths.projectsPath = Platform::fromPath(resolve(folder, L"projects"));
    settings.paths.tracesPath = Platform::fromPath(resolve(folder, L"traces"));
    settings.paths.reportsPath = Platform::fromPath(resolve(folder, L"reports"));
    settings.interfaces = defaultInterfaces();
    settings.dataFolder = resolve(folder, L"data");
    settings.vehicleFile = resolve(folder, L"vehicle.xml");
    settings.sovdPort = defaultSovdPort;
    return settings;
}

RuntimeSettings read(const Xml::File& file, const std::filesystem::path& folder) {
    checkRoot(file);
    const auto root = file.root();
    auto settings = defaults(folder);
    settings.serverConfiguration = readServerConfiguration(file);
    settings.serverSettings.brokerUrl = childText(file, root, "BrokerUrl");
    settings.serverSettings.brokerUrlFile = readPath(file, root, "BrokerUrlFile", folder);
    readFolders(settings, file, folder);
    readTracing(settings, file);
    readInterfaces(settings, file);
    if (const auto vehicle = resolve(folder, childText(file, root, "Vehicle")); !vehicle.empty()) {
        settings.vehicleFile = vehicle;
    }
    const auto sovd = root.child("SovdServer");
    file.allowNoContent(sovd, {"port"});
    settings.sovdPort =
        static_cast<std::uint16_t>(file.number(sovd, "port", 1, maxPort, defaultSovdPort));
    settings.clientLimits = readClientLimits(file);
    settings.tokenFile = readTokenFile(file, folder);
    return settings;
}

std::filesystem::path resolve(const std::filesystem::path& folder, const std::wstring& text) {
    if (text.empty()) {
        return {};
    }
    auto path = Platform::normalPath(Platform::joinedPath(folder, Platform::toPath(text)));
    if (!path.has_filename() && path.has_relative_path()) {
        path = path.parent_path();
    }
    return path.make_preferred();
}

} // namespace Quarlen::Kel_cpp::SettingsReader
