#pragma once

#include <array>
#include <string_view>

#include "kel_cpp/rpc/RpcClient.hpp"
#include "kel_cpp/rpc/Schemas.hpp"

namespace Quarlen::Kel_cpp {

/// What a client reads about one method.
struct MethodDescription {
    std::string_view name;
    Role role;
    std::string_view summary;
    /// Of the one parameter; an empty name and null for none.
    std::string_view parameter;
    Schemas::Schema parameterSchema;
    Schemas::Schema resultSchema;
};

/// What a client reads about one notification.
struct NotificationDescription {
    std::string_view name;
    std::string_view summary;
    Schemas::Schema paramsSchema;
};

inline constexpr std::array methodDescriptions{
    MethodDescription{"connections.list", Role::Watch, "The clients and the vehicle connection.",
                      "", nullptr, Schemas::texts},
    MethodDescription{"jobs.list", Role::Watch,
                      "How far the running jobs are, as in the notification job.progress.", "",
                      nullptr, Schemas::progressOfJobs},
    MethodDescription{"projects.list", Role::Watch, "The names of the projects.", "", nullptr,
                      Schemas::texts},
    MethodDescription{"reports.list", Role::Watch,
                      "The reports with size and time; GET /reports/NAME serves one.", "", nullptr,
                      Schemas::reports},
    MethodDescription{"runs.get", Role::Watch,
                      "One run with its status texts, jobs, exceptions and reports.", "id",
                      Schemas::count, Schemas::run},
    MethodDescription{"runs.list", Role::Watch,
                      "The latest 100 runs, oldest first. The outcome is clean, failed, findings "
                      "or cancelled, and null while the run lasts.",
                      "", nullptr, Schemas::runSummaries},
    MethodDescription{"sequence.cancel", Role::Control,
                      "Ends the running sequence; answers when it has been taken care of.", "",
                      nullptr, Schemas::handled},
    MethodDescription{"sequence.lastCancel", Role::Watch,
                      "When a cancel was last asked for, or null: after one the buttons rest until "
                      "the program is started again.",
                      "", nullptr, Schemas::timeOrNull},
    MethodDescription{"sequence.list", Role::Watch, "The scripts that can be started.", "", nullptr,
                      Schemas::texts},
    MethodDescription{
        "sequence.start", Role::Control,
        "Runs a sequence; answers when it has ended. What came of it tells run.ended.", "name",
        Schemas::text, Schemas::handled},
    MethodDescription{"sequence.waiting", Role::Watch, "The starts that have not begun yet.", "",
                      nullptr, Schemas::waitingStarts},
    MethodDescription{"server.describe", Role::Watch, "This description.", "", nullptr,
                      Schemas::description},
    MethodDescription{"server.version", Role::Watch, "The version of the runtime.", "", nullptr,
                      Schemas::text},
    MethodDescription{"session.login", Role::None,
                      "Gives the client the role of a token: \"watch\" or \"control\".", "token",
                      Schemas::text, Schemas::login},
    MethodDescription{"session.role", Role::None,
                      "What the client may do: \"none\", \"watch\" or \"control\".", "", nullptr,
                      Schemas::role},
    MethodDescription{"status.get", Role::Watch, "The present status text.", "", nullptr,
                      Schemas::status},
    MethodDescription{"status.history", Role::Watch, "The latest 200 status texts, oldest first.",
                      "", nullptr, Schemas::statuses},
    MethodDescription{"status.subscribe", Role::Watch,
                      "Sends the notifications status.changed (first with the present text), "
                      "job.progress and run.ended over this WebSocket.",
                      "", nullptr, Schemas::alwaysTrue},
    MethodDescription{"status.unsubscribe", Role::Watch, "Ends the notifications.", "", nullptr,
                      Schemas::alwaysTrue},
    MethodDescription{"vehicle.get", Role::Watch,
                      "The selected project and vehicle information and the interface in use.", "",
                      nullptr, Schemas::vehicle},
};

inline constexpr std::array notificationDescriptions{
    NotificationDescription{"status.changed", "A status text has been set.", Schemas::status},
    NotificationDescription{"job.progress",
                            "How far a quick test or a flash is; left out for a client that lags "
                            "behind. A total of 0 is not known.",
                            Schemas::progress},
    NotificationDescription{"run.ended", "The end of a run is known.", Schemas::runSummary},
};

} // namespace Quarlen::Kel_cpp
