#pragma once

#include <string>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>

#include "kel_cpp/history/RunRecords.hpp"
#include "kel_cpp/rpc/RpcClient.hpp"

/// The records of the runtime as the server's clients see them.
namespace Quarlen::Kel_cpp::JsonRecords {

boost::json::string text(const std::wstring& wide);
boost::json::array texts(const std::vector<std::wstring>& list);
/// "none", "watch" or "control".
const char* roleName(Role role);

/// UTC, ISO 8601 with milliseconds: "2026-01-31T09:05:00.042Z".
std::string timeText(SystemTime time);

boost::json::object status(const StatusEntry& entry);
boost::json::object progress(const JobProgress& entry);
/// Without its status texts, jobs and exceptions.
boost::json::object runSummary(const RunSummary& run);
boost::json::object run(const RunEntry& run);

} // namespace Quarlen::Kel_cpp::JsonRecords
