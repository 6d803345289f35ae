#pragma once

#include <boost/json/value.hpp>

/// What the values of the protocol look like, as JSON Schema (draft 7). Every member that a schema
/// names is always there; a later version may have more.
namespace Quarlen::Kel_cpp::Schemas {

using Schema = boost::json::value (*)();

boost::json::value alwaysTrue();
boost::json::value count();
boost::json::value text();
boost::json::value texts();
boost::json::value timeOrNull();

boost::json::value description();
boost::json::value handled();
boost::json::value login();
boost::json::value progress();
boost::json::value progressOfJobs();
boost::json::value reports();
boost::json::value role();
boost::json::value run();
boost::json::value runSummary();
boost::json::value runSummaries();
boost::json::value status();
boost::json::value statuses();
boost::json::value vehicle();
boost::json::value waitingStarts();

} // namespace Quarlen::Kel_cpp::Schemas
