#include "tools/kel_vehicle/Program.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <chrono>
#include <limits>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <variant>

#include "platform/Clock.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/VehicleFile.hpp"
#include "tools/kel_vehicle/CommandInput.hpp"
#include "tools/kel_vehicle/entity/DoipEntity.hpp"
#include "tools/kel_vehicle/misbehaviour/Commands.hpp"
#include "xml/FileError.hpp"

namespace Quarlen::KelVehicle {

namespace {

constexpr int exitFailed = 1;
constexpr int exitWrongUsage = 2;

struct Options {
    std::string vehicle{};
    std::string misbehaviour{};
    bool isQuiet = false;
    EntityOptions entity{};
};

/// Whole lines from several threads.
class Lines {
public:
    explicit Lines(std::ostream& stream) : stream(stream) {}
    void write(const std::string& line) {
        const std::lock_guard lock(mutex);
        stream << line << std::endl; // a program that reads the lines must not wait
    }

private:
    std::mutex mutex;
    std::ostream& stream;
};

void addTime(CLI::App& application, const std::string& name, std::chrono::milliseconds& time,
             const std::string& what) {
    constexpr std::int64_t longest = std::chrono::milliseconds(std::chrono::hours(24)).count();
    application
        .add_option_function<std::int64_t>(
            name, [&time](std::int64_t value) { time = std::chrono::milliseconds(value); }, what)
        ->option_text("MS")
        ->check(CLI::Range(std::int64_t{0}, longest));
}

void addOptions(CLI::App& application, Options& options) {
    EntityOptions& entity = options.entity;
    application.add_option("VEHICLE", options.vehicle, "The vehicle's file (vehicle.xml)")
        ->required();
    application.add_option("--address", entity.address, "IPv4 address to serve [127.0.0.1]")
        ->option_text("ADDRESS")
        ->check(CLI::ValidIPV4);
    application.add_option("--port", entity.port, "Port of UDP and TCP, 0 for a free one [13400]")
        ->option_text("PORT")
        ->check(CLI::Range(0, int{std::numeric_limits<std::uint16_t>::max()}));
    application.add_option("--misbehave", options.misbehaviour, "File with misbehaviour commands")
        ->option_text("FILE");
    application.add_flag("--quiet", options.isQuiet, "Do not log the exchanges");
    application.add_option("--max-sockets", entity.maxSockets, "Testers at a time [255]")
        ->option_text("N")
        ->check(CLI::Range(std::size_t{1}, maxTesters));
    addTime(application, "--initial-inactivity", entity.times.initialInactivity,
            "Until a tester has its routing activated [2000]");
    addTime(application, "--general-inactivity", entity.times.generalInactivity,
            "Until a silent tester is let go [300000]");
    addTime(application, "--alive-check", entity.times.aliveCheck,
            "Until a tester has to answer whether it is there [500]");
    addTime(application, "--tester-present-timeout", entity.times.testerPresent,
            "Until a tester without diagnostic messages is let go, 0 for never [0]");
}

void perform(DoipEntity& entity, const Command& command) {
    if (const auto* const misbehaviour = std::get_if<Misbehaviour>(&command)) {
        if (!entity.add(*misbehaviour)) {
            throw CommandError(1, "there are " + std::to_string(maxMisbehaviours) +
                                      " misbehaviours already, and only clear forgets them");
        }
    } else {
        entity.clearMisbehaviours();
    }
}

/// What the commands, one after the other, leave.
std::vector<Misbehaviour> standing(const std::vector<Command>& commands, const std::string& file) {
    std::vector<Misbehaviour> asked;
    for (const Command& command : commands) {
        if (const auto* const misbehaviour = std::get_if<Misbehaviour>(&command)) {
            asked.push_back(*misbehaviour);
        } else {
            asked.clear();
        }
    }
    if (asked.size() > maxMisbehaviours) {
        throw std::runtime_error(file + ": " + std::to_string(asked.size()) +
                                 " misbehaviours, expected at most " +
                                 std::to_string(maxMisbehaviours));
    }
    return asked;
}

/// Throws `std::runtime_error` that names each mistake: a vehicle that behaves too well unnoticed
/// is of no use.
std::vector<Misbehaviour> misbehavioursOf(const std::string& file) {
    if (file.empty()) {
        return {};
    }
    CommandFile read = readCommandFile(Platform::toPath(Platform::fromUtf8(file)));
    std::string mistakes;
    for (const std::string& mistake : read.mistakes) {
        mistakes += (mistakes.empty() ? "" : "\n") + mistake;
    }
    if (!mistakes.empty()) {
        throw std::runtime_error(mistakes);
    }
    return standing(read.commands, file);
}

void follow(DoipEntity& entity, const InputLine& line, Lines& output, Lines& errors) {
    try {
        if (const auto command = parseCommand(line.text)) {
            perform(entity, *command);
            output.write("kel_vehicle: took \"" + line.text + "\"");
        }
    } catch (const CommandError& error) {
        errors.write("standard input:" + std::to_string(line.number) + ":" +
                     std::to_string(error.column()) + ": " + error.what());
    }
}

void serve(Options& options, const ProgramEnvironment& environment) {
    constexpr std::chrono::milliseconds lookInterval{50};
    const auto vehicle =
        Simulation::readVehicleFile(Platform::toPath(Platform::fromUtf8(options.vehicle)));
    options.entity.misbehaviours = misbehavioursOf(options.misbehaviour);
    Lines output(environment.output);
    Lines errors(environment.errors);
    if (!options.isQuiet) {
        options.entity.log = [&output](const std::string& line) { output.write(line); };
    }
    DoipEntity entity(vehicle, Platform::systemClock(), options.entity);
    entity.start();
    output.write("kel_vehicle: VIN " + Platform::toUtf8(vehicle.vin) + " at " +
                 options.entity.address + ":" + std::to_string(entity.port()) + ", " +
                 std::to_string(vehicle.controlUnits.size()) + " control units");
    CommandInput input(environment.input);
    while (!environment.stopRequested) {
        if (const auto line = input.waitFor(lookInterval)) {
            follow(entity, *line, output, errors);
        }
    }
}

int fail(std::ostream& errors, const std::string& cause, int code) {
    errors << "kel_vehicle: " << cause << std::endl;
    return code;
}

} // namespace

int runProgram(std::vector<std::string> arguments, const ProgramEnvironment& environment) {
    CLI::App application("Serves a vehicle on the network (DoIP, ISO 13400-2).", "kel_vehicle");
    // A path may begin with a slash on every system.
    application.allow_windows_style_options(false);
    application.set_version_flag("--version", "kel_vehicle " KEL_VEHICLE_VERSION,
                                 "Show the program's version");
    Options options;
    addOptions(application, options);
    try {
        std::reverse(arguments.begin(), arguments.end());
        application.parse(arguments);
        serve(options, environment);
        return 0;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return application.exit(error, environment.output, environment.errors);
        }
        return fail(environment.errors, std::string(error.what()) + "; see --help", exitWrongUsage);
    } catch (const Xml::FileError& error) {
        return fail(environment.errors, Platform::toUtf8(error.message()), exitFailed);
    } catch (const std::exception& error) {
        return fail(environment.errors, Platform::toUtf8(Platform::exceptionText(error)),
                    exitFailed);
    }
}

} // namespace Quarlen::KelVehicle
