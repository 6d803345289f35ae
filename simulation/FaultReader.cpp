#include "simulation/FaultReader.hpp"

#include <limits>

namespace Quarlen::Simulation {

FaultDescription readFault(const Xml::File& file, const pugi::xml_node& node) {
    constexpr std::uint64_t anyWord = std::numeric_limits<std::uint32_t>::max();
    file.allowNoContent(node, {"request", "response", "linkLost", "inputFull", "after", "times"});
    FaultDescription fault;
    fault.request = file.bytes(node, "request");
    if (node.attribute("response")) {
        fault.response = file.bytes(node, "response");
    }
    fault.linkLost = file.flag(node, "linkLost", false);
    fault.inputFull = file.flag(node, "inputFull", false);
    if (int{fault.linkLost} + int{fault.inputFull} + int{!fault.response.empty()} > 1) {
        file.failAttribute(node, fault.linkLost ? "linkLost" : "inputFull",
                           L"expected one of \"response\", \"linkLost\" and \"inputFull\"");
    }
    fault.after = static_cast<std::uint32_t>(file.number(node, "after", 0, anyWord, 0));
    if (node.attribute("times")) {
        fault.times = static_cast<std::uint32_t>(file.number(node, "times", 1, anyWord));
    }
    return fault;
}

} // namespace Quarlen::Simulation
