#include "tools/kelctl/commands/WatchCommand.hpp"

#include <chrono>
#include <deque>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/json/object.hpp>

#include "platform/Terminal.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/output/ServerTable.hpp"
#include "tools/kelctl/server/StatusWatch.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

/// Faster than this nobody reads.
constexpr std::chrono::milliseconds drawInterval{100};

/// "bench-3" or "bench-3:58001"; without a port the common one.
ServerPlace placeOf(const std::string& host, ServerPlace common) {
    common.host = host;
    const std::size_t colon = host.rfind(':');
    if (colon == std::string::npos) {
        return common;
    }
    constexpr unsigned long maxPort = std::numeric_limits<std::uint16_t>::max();
    constexpr std::size_t maxDigits = 5;
    const std::string digits = host.substr(colon + 1);
    const bool isNumber = !digits.empty() && digits.size() <= maxDigits &&
                          digits.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long port = isNumber ? std::stoul(digits) : 0;
    if (colon == 0 || port == 0 || port > maxPort) {
        throw Failure(ExitCode::WrongUsage,
                      printable(std::string_view(host)) + ": expected HOST or HOST:PORT");
    }
    common.host = host.substr(0, colon);
    common.port = static_cast<std::uint16_t>(port);
    return common;
}

/// Shows what the watches tell: as a table on a terminal, else a line for each change.
class Watcher {
public:
    Watcher(const CommandContext& context, std::vector<std::string> names)
        : out(context.out()), hosts(std::move(names)), table(hosts) {
        for (std::size_t index = 0; index < hosts.size(); ++index) {
            watches.emplace_back(ioContext, lookup, placeOf(hosts[index], context.place),
                                 [this, index](const ServerState& state) { show(index, state); });
        }
    }

    /// Does not return: Ctrl-C ends the program.
    void run() {
        for (StatusWatch& watch : watches) {
            watch.start();
        }
        if (out.isTerminal()) {
            draw();
        }
        ioContext.run();
    }

private:
    void show(std::size_t index, const ServerState& state) {
        const Colour running = state.text == "Idle" ? Colour::None : Colour::Note;
        table.change(index, {.name = printable(std::string_view(hosts[index])),
                             .time = printable(std::string_view(state.time)),
                             .text = printable(std::string_view(state.text)),
                             .colour = state.isReachable ? running : Colour::Bad});
        hasChanged = true;
        if (!out.isTerminal()) {
            out.line(table.line(out, index, std::numeric_limits<std::size_t>::max()));
        }
        json::object value{{"host", hosts[index]}, {"reachable", state.isReachable}};
        value[state.isReachable ? "text" : "cause"] = state.text;
        if (state.isReachable) {
            value["time"] = state.time;
        }
        out.value(value);
    }

    /// Many changes at once are drawn once. The last row stays free for the cursor.
    void draw() {
        const auto size = Platform::outputTerminalSize().value_or(Platform::TerminalSize{24, 80});
        const auto former = std::exchange(drawnSize, size);
        const bool isResized = former.rows != size.rows || former.columns != size.columns;
        if (std::exchange(hasChanged, false) || isResized) {
            out.replaceLines(table.lines(out, size.rows - 1, size.columns));
        }
        nextDraw.expires_after(drawInterval);
        nextDraw.async_wait([this](const boost::system::error_code&) { draw(); });
    }

    Output& out;
    const std::vector<std::string> hosts;
    ServerTable table;
    bool hasChanged = true;
    Platform::TerminalSize drawnSize;
    /// Before what waits in it: that is destroyed first.
    boost::asio::io_context ioContext{1};
    NameLookup lookup{ioContext};
    boost::asio::steady_timer nextDraw{ioContext};
    std::deque<StatusWatch> watches;
};

} // namespace

void addWatchCommand(CLI::App& application, CommandContext& context) {
    const auto hosts = std::make_shared<std::vector<std::string>>();
    addCommand(
        application, context, "watch", "Show the status of many servers until Ctrl-C",
        "  kelctl watch --all station-1 station-2 station-3\n"
        "  kelctl watch --all $(cat stations) --token-file screen.token\n"
        "  kelctl --json watch --all 10.0.0.5:58001 10.0.0.6:58001",
        [&context, hosts] {
            Watcher(context, hosts->empty() ? std::vector{context.place.host} : *hosts).run();
            return ExitCode::Done;
        })
        ->add_option("--all", *hosts, "Names or IPv4 addresses, :PORT where it differs")
        ->option_text("HOST...");
}

} // namespace Quarlen::Ctl
