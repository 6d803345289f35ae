#include "tools/kelctl/server/ServerPlace.hpp"

#include <boost/algorithm/string/predicate.hpp>

#include "platform/LoopbackAddress.hpp"

namespace Quarlen::Ctl {

bool ServerPlace::isLocal() const {
    return boost::algorithm::iequals(host, "localhost") || Platform::isLoopbackIpv4(host);
}

} // namespace Quarlen::Ctl
