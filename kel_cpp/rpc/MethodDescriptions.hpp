#pragma once

#include <array>
#include <string_view>

#include "kel_cpp/rpc/RpcClient.hpp"

namespace Quarlen::Kel_cpp {

/// What a client reads about one method. The schemas are JSON Schema (draft 7).
struct MethodDescription {
    std::string_view name;
    Role role;
    std::string_view summary;
    /// Of the one parameter, or empty names for none.
    std::string_view parameter;
    std::string_view parameterSchema;
    std::string_view resultSchema;
};

inline constexpr std::string_view statusSchema =
    R"({"type":"object","required":["text","time","number"],"properties":{)"
    R"("text":{"type":"string"},"time":{"type":"string","format":"date-time"},)"
    R"("number":{"type":"integer","minimum":0}}})";
inline constexpr std::string_view handledSchema =
    R"({"type":"object","required":["handled"],"properties":{"handled":{"type":"boolean"}}})";
inline constexpr std::string_view textSchema = R"({"type":"string"})";
inline constexpr std::string_view textsSchema = R"({"type":"array","items":{"type":"string"}})";
inline constexpr std::string_view objectSchema = R"({"type":"object"})";
inline constexpr std::string_view objectsSchema = R"({"type":"array","items":{"type":"object"}})";
inline constexpr std::string_view numberSchema = R"({"type":"integer","minimum":0})";
inline constexpr std::string_view timeSchema = R"({"type":["string","null"],"format":"date-time"})";
inline constexpr std::string_view trueSchema = R"({"const":true})";

inline constexpr std::array methodDescriptions{
    MethodDescription{"connections.list", Role::Watch, "The clients and the vehicle connection.",
                      "", "", textsSchema},
    MethodDescription{"jobs.list", Role::Watch,
                      "How far the running jobs are, as in the notification job.progress.", "", "",
                      objectsSchema},
    MethodDescription{"projects.list", Role::Watch, "The names of the projects.", "", "",
                      textsSchema},
    MethodDescription{"reports.list", Role::Watch,
                      "The reports with size and time; GET /reports/NAME serves one.", "", "",
                      objectsSchema},
    MethodDescription{"runs.get", Role::Watch,
                      "One run with its status texts, jobs, exceptions and reports.", "id",
                      numberSchema, objectSchema},
    MethodDescription{"runs.list", Role::Watch,
                      "The latest 100 runs, oldest first. The outcome is clean, failed, findings "
                      "or cancelled, and null while the run lasts.",
                      "", "", objectsSchema},
    MethodDescription{"sequence.cancel", Role::Control,
                      "Ends the running sequence; answers when it has been taken care of.", "", "",
                      handledSchema},
    MethodDescription{"sequence.lastCancel", Role::Watch,
                      "When a cancel was last asked for, or null: after one the buttons rest until "
                      "the program is started again.",
                      "", "", timeSchema},
    MethodDescription{"sequence.list", Role::Watch, "The scripts that can be started.", "", "",
                      textsSchema},
    MethodDescription{
        "sequence.start", Role::Control,
        "Runs a sequence; answers when it has ended. What came of it tells run.ended.", "name",
        textSchema, handledSchema},
    MethodDescription{"sequence.waiting", Role::Watch, "The starts that have not begun yet.", "",
                      "", objectsSchema},
    MethodDescription{"server.describe", Role::Watch, "This description.", "", "", objectSchema},
    MethodDescription{"server.version", Role::Watch, "The version of the runtime.", "", "",
                      textSchema},
    MethodDescription{"session.login", Role::None,
                      "Gives the client the role of a token: \"watch\" or \"control\".", "token",
                      textSchema, objectSchema},
    MethodDescription{"session.role", Role::None,
                      "What the client may do: \"none\", \"watch\" or \"control\".", "", "",
                      textSchema},
    MethodDescription{"status.get", Role::Watch, "The present status text.", "", "", statusSchema},
    MethodDescription{"status.history", Role::Watch, "The latest 200 status texts, oldest first.",
                      "", "", objectsSchema},
    MethodDescription{"status.subscribe", Role::Watch,
                      "Sends the notifications status.changed (first with the present text), "
                      "job.progress and run.ended over this WebSocket.",
                      "", "", trueSchema},
    MethodDescription{"status.unsubscribe", Role::Watch, "Ends the notifications.", "", "",
                      trueSchema},
    MethodDescription{"vehicle.get", Role::Watch,
                      "The selected project and vehicle information and the interface in use.", "",
                      "", objectSchema},
};

} // namespace Quarlen::Kel_cpp
