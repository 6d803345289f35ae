#include "tools/kelctl/dryrun/DryRun.hpp"

#include <atomic>
#include <memory>
#include <mutex>
#include <sstream>
#include <stop_token>
#include <thread>
#include <utility>

#include "kel_cpp/Runtime.hpp"
#include "kel_server_lib/sequence/SequenceRun.hpp"
#include "platform/StopSignals.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/dryrun/DryRunPlan.hpp"
#include "tools/kelctl/dryrun/LeapingClock.hpp"
#include "tools/kelctl/dryrun/Narrator.hpp"
#include "tools/kelctl/dryrun/RunVerdict.hpp"
#include "tools/kelctl/dryrun/ScratchFolder.hpp"
#include "tools/kelctl/dryrun/StepWords.hpp"

namespace Quarlen::Ctl {

namespace {

using std::chrono::milliseconds;

/// The server and its surroundings as far as a script meets them.
class DryRun {
public:
    DryRun(const DryRunPlan& plan, const DryRunWish& wish, Output& output);

    ExitCode run();

private:
    [[nodiscard]] Kel_cpp::RuntimeEnvironment runtimeEnvironment();
    [[nodiscard]] SequenceEnvironment sequenceEnvironment();
    void onBusEvent(const Uds::BusEvent& event);
    void runSequence();
    WalkResult walk(const ServerHandlerSequence::Api& api,
                    const Config::CfxKelServerScript& script);
    void tellStep(const Config::CfxKelServerScript& script, std::uint64_t index);
    void tellResults();
    [[nodiscard]] std::vector<Kel_cpp::JobEntry> takeEndedJobs();
    void noteMissingProject(const Config::ConfigObject& action);
    void cancelOnSignal(const std::stop_token& runEnded);
    bool cancel();
    [[nodiscard]] std::vector<std::string> reports() const;
    void open();
    void close();

    const DryRunPlan& plan;
    ScratchFolder scratch;
    LeapingClock clock;
    const Platform::Clock::TimePoint start = clock.now();
    const std::chrono::system_clock::time_point startOfRun = std::chrono::system_clock::now();
    /// By how much the calendar is ahead of the clock.
    std::atomic<std::chrono::seconds> later{std::chrono::seconds(0)};
    std::shared_ptr<std::atomic<bool>> stopSignal = std::make_shared<std::atomic<bool>>(false);
    Narrator narrator;
    std::mutex watchMutex;
    FaultWatch faultWatch;
    /// What the runtime and the sequence write to the console.
    std::ostringstream consoleText;
    Platform::Console console{consoleText};
    std::mutex jobsMutex;
    /// Those that are not told yet.
    std::vector<Kel_cpp::JobEntry> endedJobs;
    RunFacts facts;
    std::shared_ptr<Kel_cpp::Runtime> runtime;
    ServerHandlerSequence handler;
};

DryRun::DryRun(const DryRunPlan& plan, const DryRunWish& wish, Output& output)
    : plan(plan),
      narrator(output, wish.verbose,
               [this] { return std::chrono::duration_cast<milliseconds>(clock.now() - start); }),
      faultWatch(plan.vehicle, plan.faults),
      runtime(std::make_shared<Kel_cpp::Runtime>(runtimeEnvironment())),
      handler(sequenceEnvironment()) {
    // Below the session timeout S3 (5 s, ISO 14229-2), as the runtime has it in real time.
    clock.everyInterval(std::chrono::seconds(2), [this] { runtime->keepSessions(); });
}

Kel_cpp::RuntimeEnvironment DryRun::runtimeEnvironment() {
    writeDryRunSettings(scratch, plan.settings);
    // The clock keeps the sessions: real time says nothing about the time of the run.
    constexpr std::chrono::hours never{24};
    return {scratch.config(), scratch.path() / "installation", clock, never, consoleText,
            [this] { return startOfRun + (clock.now() - start) + later.load(); },
            [this](const auto& /*vehicleFile*/, auto& used) {
                return Simulation::SimulatedVehicle(plan.vehicle, used);
            },
            // One after the other: each wait moves the time for all.
            1, [this](const Uds::BusEvent& event) { onBusEvent(event); },
            [this](const Kel_cpp::StatusEntry& status) { narrator.status(status.text); },
            [this](const Kel_cpp::JobEntry& job) {
                const std::lock_guard lock(jobsMutex);
                endedJobs.push_back(job);
            },
            Kel_cpp::VehicleInterfaces::connectTo, true};
}

SequenceEnvironment DryRun::sequenceEnvironment() {
    return {
        clock.follower(),
        console,
        {},
        StdUtil::PathString(plan.configFolder),
        [this](const std::string& /*prefix*/, const LedColour& colour) { narrator.led(colour); }};
}

void DryRun::onBusEvent(const Uds::BusEvent& event) {
    using Kind = Uds::BusEvent::Kind;
    if (event.kind == Kind::Locked) {
        return;
    }
    if (event.kind == Kind::Request || event.kind == Kind::KeepAlive) {
        const std::lock_guard lock(watchMutex);
        faultWatch.request(event.unit.link, event.bytes);
    }
    narrator.exchange(event);
}

ExitCode DryRun::run() {
    Platform::raiseOnStopSignals(stopSignal);
    open();
    runtime->initialize();
    {
        const std::jthread canceller([this](const std::stop_token& end) { cancelOnSignal(end); });
        runSequence();
    }
    // A run that nobody asked for counts as ended when it has been quiet for so long.
    later = 2 * std::chrono::ceil<std::chrono::seconds>(Kel_cpp::RunLog::silentTime);
    tellResults();
    close();
    const Verdict verdict = judge(facts);
    narrator.close(verdict.words, verdict.colour, reports());
    return verdict.code;
}

void DryRun::open() {
    Narrator::Opening opening{
        pathText(plan.scriptFile), pathText(plan.configFolder), plan.vehicleWords, {}};
    for (const PlannedFault& fault : plan.faults) {
        opening.faults.push_back(fault.text);
    }
    narrator.open(opening, plan.vehicle);
    if (!Kel_cpp::SettingsFile(plan.configFolder).isThere()) {
        narrator.note("the configuration has no KelServer.xml: defaults are used");
    }
}

/// As the handler does it, with a walk that tells its steps.
void DryRun::runSequence() {
    const std::lock_guard runLock(handler.semaphore);
    SequenceRun(handler, plan.scriptName, runtime,
                [this](ServerHandlerSequence&, const auto& api, const auto& script) {
                    return walk(api, script);
                })
        .run();
}

WalkResult DryRun::walk(const ServerHandlerSequence::Api& api,
                        const Config::CfxKelServerScript& script) {
    facts.hasWalked = true;
    WalkResult result;
    const std::uint64_t count = script.actionCount();
    std::uint64_t index = 0;
    for (; index < count && result.success && !result.stopped; ++index) {
        if (!handler.stopRaised()) {
            tellStep(script, index);
        }
        const Config::Ref one(new Config::CfxKelServerScript);
        one->actions.push_back(script.actions[static_cast<std::size_t>(index)]);
        result = walkActions(handler, api, *one);
        tellResults();
        if (result.success) {
            noteMissingProject(script.action(index));
        }
    }
    facts.wasStopped = result.stopped;
    if (!result.success && index < count) {
        narrator.note("the script ends here; steps not begun: " + std::to_string(count - index));
    }
    return result;
}

void DryRun::tellStep(const Config::CfxKelServerScript& script, std::uint64_t index) {
    const Config::ConfigObject& action = script.action(index);
    StepText step{index + 1, script.actionCount(), 0, actionName(action), actionWords(action)};
    if (index < plan.lines.size()) {
        step.line = plan.lines[static_cast<std::size_t>(index)];
    }
    narrator.step(step);
}

/// The server takes it for a success when no project fits the car.
void DryRun::noteMissingProject(const Config::ConfigObject& action) {
    const auto* const select = Config::as<Config::CfxSelectAction>(action);
    if (select != nullptr && select->project == L"AUTO_SELECT" && !handler.stopRaised() &&
        runtime->getSelectedProjectName().empty()) {
        facts.foundNoProject = true;
        narrator.note("no project fits the car: the server goes on without one");
    }
}

std::vector<Kel_cpp::JobEntry> DryRun::takeEndedJobs() {
    const std::lock_guard lock(jobsMutex);
    return std::exchange(endedJobs, {});
}

/// The jobs and console lines that have come since the last call.
void DryRun::tellResults() {
    for (const Kel_cpp::JobEntry& job : takeEndedJobs()) {
        narrator.job(job);
    }
    std::istringstream lines(consoleText.str());
    consoleText.str({});
    for (std::string line; std::getline(lines, line);) {
        facts.toldConsole = true;
        narrator.console(line);
    }
}

/// A cancel changes nothing while the vehicle is not connected, so it is tried again.
void DryRun::cancelOnSignal(const std::stop_token& runEnded) {
    constexpr milliseconds interval{20};
    bool isCancelled = false;
    bool isTold = false;
    while (!isCancelled && !runEnded.stop_requested()) {
        Platform::systemClock().sleepFor(interval);
        if (*stopSignal) {
            if (!std::exchange(isTold, true)) {
                narrator.note("stopped by a signal: the run is cancelled as on the server");
            }
            isCancelled = cancel();
        }
    }
}

bool DryRun::cancel() {
    bool handled = false;
    try {
        Kel_cpp::RecordList<Kel_cpp::ActiveConnection> connections;
        runtime->getActiveConnections(connections);
        if (!connections.empty()) {
            handler.cancelSequence(runtime, nullptr, handled);
        }
    } catch (const Kel_cpp::KelApiException& exception) {
        narrator.note(Platform::toUtf8(exception.message()));
    }
    return handled;
}

std::vector<std::string> DryRun::reports() const {
    std::vector<std::string> paths;
    if (const std::optional<Kel_cpp::RunEntry> entry = runtime->latestRun()) {
        for (const std::wstring& name : entry->reports) {
            paths.push_back(pathText(scratch.reports() / Platform::toPath(name)));
        }
    }
    return paths;
}

/// What the run has not said itself.
void DryRun::close() {
    const std::optional<Kel_cpp::RunEntry> entry = runtime->latestRun();
    facts.outcome = entry ? entry->outcome : Kel_cpp::RunOutcome::Running;
    facts.gotSignal = *stopSignal;
    facts.isScriptThere = plan.isScriptThere;
    if (!facts.hasWalked && plan.isScriptThere) {
        narrator.note(plan.loadFault.empty()
                          ? "the script has no root element 'KelServerScript': nothing was done"
                          : "the server would not load the script: " + plan.loadFault);
    }
    const std::lock_guard lock(watchMutex);
    for (const std::string& fault : faultWatch.neverHappened()) {
        narrator.note("this planned fault never happened: " + fault);
    }
    if (!reports().empty()) {
        scratch.keep();
    }
}

} // namespace

ExitCode dryRun(const DryRunWish& wish, Output& output) {
    try {
        const DryRunPlan plan(wish);
        return DryRun(plan, wish, output).run();
    } catch (const Kel_cpp::KelApiException& exception) {
        throw Failure(ExitCode::Refused, Platform::toUtf8(exception.message()));
    }
}

} // namespace Quarlen::Ctl
