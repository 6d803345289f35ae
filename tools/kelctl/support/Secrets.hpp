#pragma once

#include <string>

#include <boost/json/value.hpp>

namespace Quarlen::Ctl {

/// A configuration file, a trace or a report without what must not leave the machine: masks of
/// keys, passwords, tokens, private keys and what stands before the @ of a URL become "***". The
/// name of the file with the tokens stays. UTF-8.
std::string withoutSecrets(const std::string& text);

/// The same for all texts of a value, and for members that are named like a secret.
boost::json::value withoutSecrets(const boost::json::value& value);

} // namespace Quarlen::Ctl
