#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <boost/json/object.hpp>

#include "kel_cpp/history/RunRecords.hpp"
#include "kel_server_lib/devices/StatusLed.hpp"
#include "simulation/VehicleDescription.hpp"
#include "tools/kelctl/dryrun/ExchangeText.hpp"
#include "tools/kelctl/output/Output.hpp"
#include "uds/BusEvent.hpp"

namespace Quarlen::Ctl {

/// One action of the script that is about to run.
struct StepText {
    std::uint64_t number = 0;
    std::uint64_t count = 0;
    /// From 1; 0 when it is not known.
    std::size_t line = 0;
    std::string action;
    std::string words;
};

/// Tells what happens in a dry run, in lines or as JSON, one value an event. No text that it is
/// given can steer the terminal or begin a line of its own. Safe from any thread.
class Narrator {
public:
    /// How far the run's own time is.
    using Elapsed = std::function<std::chrono::milliseconds()>;

    /// `output` must outlive it. Without `verbose` people are not told of the exchanges.
    Narrator(Output& output, bool verbose, Elapsed elapsed);

    struct Opening {
        std::string script;
        std::string configuration;
        std::string vehicle;
        std::vector<std::string> faults;
    };
    void open(const Opening& opening, const Simulation::VehicleDescription& vehicle);
    void step(const StepText& step);
    void status(const std::wstring& text);
    void led(const LedColour& colour);
    void exchange(const Uds::BusEvent& event);
    void job(const Kel_cpp::JobEntry& job);
    /// What the server writes to its console.
    void console(const std::string& line);
    /// What the server does not say, but a person should know.
    void note(const std::string& text);
    void close(const std::string& outcome, Colour colour, const std::vector<std::string>& reports);

private:
    void tell(const char* event, boost::json::object value);
    void line(const std::string& kind, const std::string& text, Colour colour = Colour::None);
    void exchangeLine(const Uds::BusEvent& event);
    void endTransfer();
    [[nodiscard]] std::string unitOf(const std::wstring& link) const;

    std::mutex mutex;
    Output& output;
    const bool verbose;
    const Elapsed elapsed;
    std::map<std::wstring, std::string> unitNames;
    std::size_t kindWidth = 0;
    TransferRun transfer;
};

} // namespace Quarlen::Ctl
