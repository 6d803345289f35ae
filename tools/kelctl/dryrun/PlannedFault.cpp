#include "tools/kelctl/dryrun/PlannedFault.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <sstream>
#include <string_view>

#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl {

namespace {

using Simulation::ControlUnitDescription;

class FaultParser {
public:
    explicit FaultParser(const std::string& text) : text(text) {}

    PlannedFault parse() const {
        // A name may have a colon; bytes have neither a colon nor an equals sign.
        const std::size_t equals = text.rfind('=');
        if (equals == std::string::npos) {
            fail("it has no '=' between request and response");
        }
        const std::size_t colon = text.substr(0, equals).rfind(':');
        if (colon == std::string::npos) {
            fail("it has no ':' between control unit and request");
        }
        PlannedFault planned{text, Platform::fromUtf8(trimmed(text.substr(0, colon))), {}};
        if (planned.unit.empty()) {
            fail("it names no control unit");
        }
        for (const std::string& word : wordsOf(text.substr(colon + 1, equals - colon - 1))) {
            appendBytes(planned.fault.request, word);
        }
        if (planned.fault.request.empty()) {
            fail("it names no request");
        }
        readResponse(planned.fault, text.substr(equals + 1));
        return planned;
    }

private:
    [[noreturn]] void fail(const std::string& cause) const {
        throw Failure(ExitCode::WrongUsage, "the fault '" + text + "' is malformed: " + cause +
                                                "; write it like 'ENGINE:22 F1 90=7F 22 31'");
    }

    static std::string trimmed(const std::string& part) {
        const std::size_t first = part.find_first_not_of(' ');
        return first == std::string::npos
                   ? std::string()
                   : part.substr(first, part.find_last_not_of(' ') - first + 1);
    }

    /// "x2" and "@1" are words of their own, also without a blank before them.
    static std::vector<std::string> wordsOf(const std::string& part) {
        std::string spaced;
        for (const char letter : part) {
            spaced += letter == 'x' || letter == 'X' || letter == '@' ? std::string{' ', letter}
                                                                      : std::string{letter};
        }
        std::istringstream stream(spaced);
        std::vector<std::string> words;
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        return words;
    }

    void appendBytes(Uds::Bytes& bytes, const std::string& word) const {
        constexpr int hexadecimal = 16;
        for (std::size_t at = 0; at < word.size(); at += 2) {
            std::uint8_t value = 0;
            const char* const begin = word.data() + at;
            const char* const end = begin + std::min<std::size_t>(2, word.size() - at);
            const auto [behind, error] = std::from_chars(begin, end, value, hexadecimal);
            if (error != std::errc() || behind != begin + 2) {
                fail("'" + word + "' is not made of bytes with two hexadecimal digits");
            }
            bytes.push_back(value);
        }
    }

    [[nodiscard]] std::uint32_t numberOf(const std::string& word, std::uint32_t least) const {
        std::uint32_t value = 0;
        const char* const end = word.data() + word.size();
        const auto [behind, error] = std::from_chars(word.data() + 1, end, value);
        if (error != std::errc() || behind != end || value < least) {
            fail("'" + word + "' needs a number from " + std::to_string(least) + " on");
        }
        return value;
    }

    void readResponse(Simulation::FaultDescription& fault, const std::string& part) const {
        for (const std::string& word : wordsOf(part)) {
            if (word.front() == 'x' || word.front() == 'X') {
                setOnce(fault.times.has_value(), word);
                fault.times = numberOf(word, 1);
            } else if (word.front() == '@') {
                setOnce(fault.after != 0, word);
                fault.after = numberOf(word, 1);
            } else if (word == "lost") {
                fault.linkLost = true;
            } else {
                appendBytes(fault.response, word);
            }
        }
        if (fault.linkLost && !fault.response.empty()) {
            fail("a lost link gives no response");
        }
    }

    void setOnce(bool isSet, const std::string& word) const {
        if (isSet) {
            fail("'" + word + "' is said twice");
        }
    }

    const std::string& text;
};

/// A name comes before a link.
ControlUnitDescription* findUnit(Simulation::VehicleDescription& vehicle,
                                 const PlannedFault& fault) {
    auto& units = vehicle.controlUnits;
    auto found = std::find_if(units.begin(), units.end(),
                              [&](const auto& unit) { return unit.name == fault.unit; });
    if (found == units.end()) {
        found = std::find_if(units.begin(), units.end(),
                             [&](const auto& unit) { return unit.link == fault.unit; });
    }
    return found == units.end() ? nullptr : &*found;
}

std::string namesOf(const Simulation::VehicleDescription& vehicle) {
    std::string names;
    for (const auto& unit : vehicle.controlUnits) {
        names += (names.empty() ? "" : ", ") + Platform::toUtf8(unit.name);
    }
    return names.empty() ? "none" : names;
}

} // namespace

PlannedFault parsePlannedFault(const std::string& text) {
    return FaultParser(text).parse();
}

void addFaults(Simulation::VehicleDescription& vehicle, const std::vector<PlannedFault>& faults) {
    std::map<ControlUnitDescription*, std::size_t> added;
    for (const PlannedFault& planned : faults) {
        ControlUnitDescription* const unit = findUnit(vehicle, planned);
        if (unit == nullptr) {
            throw Failure(ExitCode::WrongUsage,
                          "the fault '" + planned.text + "' is for control unit '" +
                              Platform::toUtf8(planned.unit) +
                              "', which the vehicle does not have; it has: " + namesOf(vehicle));
        }
        const auto place = static_cast<std::ptrdiff_t>(added[unit]++);
        unit->faults.insert(unit->faults.begin() + place, planned.fault);
    }
}

/// As the planned faults stand before all others of their control unit, the others cannot keep one
/// from happening.
FaultWatch::FaultWatch(const Simulation::VehicleDescription& vehicle,
                       const std::vector<PlannedFault>& planned)
    : happened(planned.size(), false) {
    Simulation::VehicleDescription units = vehicle;
    for (std::size_t index = 0; index < planned.size(); ++index) {
        texts.push_back(planned[index].text);
        if (const auto* const unit = findUnit(units, planned[index])) {
            byLink[unit->link].push_back(
                {Simulation::DeliberateFaults({planned[index].fault}), index});
        }
    }
}

void FaultWatch::request(const std::wstring& link, const Uds::Bytes& bytes) {
    const auto entries = byLink.find(link);
    if (entries == byLink.end()) {
        return;
    }
    std::optional<std::size_t> first;
    for (Entry& entry : entries->second) {
        const bool applies = entry.fault.next(bytes) != nullptr;
        if (applies && !first) {
            first = entry.index;
        }
    }
    if (first) {
        happened[*first] = true;
    }
}

std::vector<std::string> FaultWatch::neverHappened() const {
    std::vector<std::string> left;
    for (std::size_t index = 0; index < texts.size(); ++index) {
        if (!happened[index]) {
            left.push_back(texts[index]);
        }
    }
    return left;
}

} // namespace Quarlen::Ctl
