#include "tools/kelctl/commands/DryRunCommand.hpp"

#include <memory>

#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/dryrun/DryRun.hpp"

namespace Quarlen::Ctl {

namespace {

struct RunOptions {
    DryRunWish wish;
    bool dryRun = false;
};

ExitCode run(const CommandContext& context, const RunOptions& options) {
    if (!options.dryRun) {
        throw Failure(ExitCode::WrongUsage, "'script run' needs --dry-run; 'kelctl start " +
                                                options.wish.script +
                                                "' has a server run the script on a car");
    }
    return dryRun(options.wish, context.out());
}

} // namespace

void addDryRunCommand(CLI::App& scripts, CommandContext& context) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* const command = addCommand(
        scripts, context, "run", "Walk a script against a simulated car",
        "  kelctl script run config/KelServerScripts/Demo.xml --dry-run -v\n"
        "  kelctl script run Demo.xml --dry-run --config config --derive-vehicle\n"
        "  kelctl script run Demo.xml --dry-run --config config --fault \"BRAKES:22=\"\n"
        "    (silence; \"ENGINE:22 F1 87=7F 22 31 x1 @2\": once, after two good answers)",
        [&context, options] { return run(context, *options); });
    DryRunWish& wish = options->wish;
    command->add_option("file", wish.script, "Script, as the server would be asked for it")
        ->required();
    command->add_flag("--dry-run", options->dryRun, "Against a simulated car; required");
    command->add_option("--config", wish.configFolder, "Configuration folder");
    CLI::Option* const vehicle =
        command->add_option("--vehicle", wish.vehicleFile, "Another vehicle.xml");
    command
        ->add_flag("--derive-vehicle", wish.derivesVehicle, "A car made from the script's projects")
        ->excludes(vehicle);
    command->add_option("--fault", wish.faults, "UNIT:REQUEST=RESPONSE, or =lost, or = (silence)")
        ->expected(1)
        ->take_all();
    command->add_flag("-v,--verbose", wish.verbose, "Also show the exchanges with the car");
}

} // namespace Quarlen::Ctl
