#include "tools/kelctl/output/Progress.hpp"

#include <algorithm>

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

/// "1,234,567".
std::string grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

std::string member(const json::object& object, const char* name) {
    return printable(std::string(object.at(name).as_string()));
}

} // namespace

std::string progressLine(const json::object& progress, std::size_t barWidth) {
    const auto total = progress.at("total").to_number<std::uint64_t>();
    const auto done = std::min(progress.at("done").to_number<std::uint64_t>(), total);
    if (total == 0) {
        return {};
    }
    const std::size_t filled = static_cast<std::size_t>(done * barWidth / total);
    const std::string unit = member(progress, "unit") == "units" ? "control units" : "bytes";
    return (member(progress, "kind") == "flash" ? "Flash " : "Quick test ") +
           member(progress, "controlUnit") + "  [" + std::string(filled, '#') +
           std::string(barWidth - filled, ' ') + "]  " + std::to_string(done * 100 / total) +
           " %  " + grouped(done) + " of " + grouped(total) + " " + unit;
}

} // namespace Quarlen::Ctl
