#include "tools/kelctl/dryrun/Narrator.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include <boost/json/array.hpp>

#include "platform/TextEncoding.hpp"
#include "tools/kelctl/dryrun/EventNames.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

std::string utf8(const std::wstring& text) {
    return printable(Platform::toUtf8(text));
}

std::string seconds(std::chrono::milliseconds time) {
    std::array<char, 32> text{};
    const double value = std::chrono::duration<double>(time).count();
    (void)std::snprintf(text.data(), text.size(), "%7.3f s", value);
    return text.data();
}

/// Characters of UTF-8, not bytes.
std::size_t widthOf(std::string_view text) {
    constexpr unsigned char kindOfByte = 0xC0;
    constexpr unsigned char furtherByte = 0x80;
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char letter) {
        return (static_cast<unsigned char>(letter) & kindOfByte) != furtherByte;
    }));
}

std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, widthOf(text)), ' ');
}

/// The words behind a heading, in lines that fit a terminal. Of several blanks between two words,
/// as a name may have them, none is lost on a line.
std::string wrapped(const std::string& heading, std::string_view text) {
    constexpr std::size_t width = 79;
    std::string lines = heading;
    std::size_t column = heading.size();
    for (bool isFirst = true, isLast = false; !isLast; isFirst = false) {
        const std::size_t blank = text.find(' ');
        isLast = blank == std::string_view::npos;
        const std::string_view word = text.substr(0, blank);
        text.remove_prefix(isLast ? text.size() : blank + 1);
        if (!isFirst && column + 1 + widthOf(word) > width) {
            lines += "\n" + std::string(heading.size(), ' ');
            column = heading.size();
        } else if (!isFirst) {
            lines += ' ';
            ++column;
        }
        lines += word;
        column += widthOf(word);
    }
    return lines;
}

json::array arrayOf(const std::vector<std::string>& texts) {
    json::array array;
    for (const std::string& text : texts) {
        array.emplace_back(text);
    }
    return array;
}

} // namespace

Narrator::Narrator(Output& output, bool verbose, Elapsed elapsed)
    : output(output), verbose(verbose), elapsed(std::move(elapsed)) {}

void Narrator::open(const Opening& opening, const Simulation::VehicleDescription& vehicle) {
    constexpr std::size_t minWidth = 7;
    kindWidth = minWidth;
    std::string units;
    json::array unitList;
    for (const auto& unit : vehicle.controlUnits) {
        const std::string name = utf8(unit.name);
        unitNames[unit.link] = name;
        kindWidth = verbose ? std::max(kindWidth, widthOf(name)) : kindWidth;
        units += (units.empty() ? "" : ", ") + name;
        unitList.push_back(json::object{{"name", name}, {"link", utf8(unit.link)}});
    }
    output.line("Dry run of " + printable(opening.script));
    output.line("  configuration  " + printable(opening.configuration));
    output.line("  vehicle        " + printable(opening.vehicle) + ", VIN " + utf8(vehicle.vin));
    output.line(wrapped("  control units  ", units.empty() ? "none" : units));
    for (const std::string& fault : opening.faults) {
        output.line("  planned fault  " + printable(fault));
    }
    output.line("");
    tell("begin", {{"script", opening.script},
                   {"configuration", opening.configuration},
                   {"vehicle", opening.vehicle},
                   {"vin", utf8(vehicle.vin)},
                   {"controlUnits", std::move(unitList)},
                   {"plannedFaults", arrayOf(opening.faults)}});
}

void Narrator::step(const StepText& step) {
    const std::lock_guard lock(mutex);
    endTransfer();
    const std::string place = step.line == 0 ? "" : ", line " + std::to_string(step.line);
    output.line("");
    output.line("Step " + std::to_string(step.number) + " of " + std::to_string(step.count) +
                place + ": " + step.action);
    output.line(wrapped("  ", printable(step.words)));
    json::object value{{"step", step.number},
                       {"of", step.count},
                       {"action", step.action},
                       {"text", printable(step.words)}};
    if (step.line != 0) {
        value["line"] = step.line;
    }
    tell("step", std::move(value));
}

void Narrator::status(const std::wstring& text) {
    const std::lock_guard lock(mutex);
    line("status", utf8(text));
    tell("status", {{"text", utf8(text)}});
}

void Narrator::led(const LedColour& colour) {
    const std::lock_guard lock(mutex);
    const std::string rgb = std::to_string(colour.red) + ", " + std::to_string(colour.green) +
                            ", " + std::to_string(colour.blue);
    const Colour shade = colour == LedColours::succeeded ? Colour::Good
                         : colour == LedColours::failed  ? Colour::Bad
                                                         : Colour::None;
    line("LED", std::string(nameOf(colour)) + " (" + rgb + ")", shade);
    tell("led",
         {{"colour", nameOf(colour)}, {"rgb", json::array{colour.red, colour.green, colour.blue}}});
}

void Narrator::exchange(const Uds::BusEvent& event) {
    const std::lock_guard lock(mutex);
    exchangeLine(event);
    json::object value{{"unit", unitOf(event.unit.link)},
                       {"link", utf8(event.unit.link)},
                       {"bytes", bytesText(event.bytes)},
                       {"length", event.bytes.size()}};
    if (event.kind == Uds::BusEvent::Kind::Request) {
        value["service"] = requestText(event.bytes);
    } else if (const std::string reason = responseText(event.bytes);
               event.kind == Uds::BusEvent::Kind::Response && !reason.empty()) {
        value["negative"] = reason;
    }
    if (!event.text.empty()) {
        value["text"] = utf8(event.text);
    }
    tell(nameOf(event.kind), std::move(value));
}

void Narrator::job(const Kel_cpp::JobEntry& job) {
    const std::lock_guard lock(mutex);
    endTransfer();
    const std::string what = std::string(nameOf(job.kind)) + " " + utf8(job.name);
    const std::string outcome = nameOf(job.outcome);
    const std::string summary = job.summary.empty() ? "" : ": " + utf8(job.summary);
    line("result", what + " " + outcome + summary,
         job.outcome == Kel_cpp::JobOutcome::Passed ? Colour::Good : Colour::Bad);
    json::array items;
    for (const auto& item : job.items) {
        items.push_back(json::object{
            {"name", utf8(item.name)}, {"passed", item.passed}, {"text", utf8(item.text)}});
        if (job.kind == Kel_cpp::JobKind::QuickTest) {
            line("", "  " + utf8(item.name) + ": " + utf8(item.text),
                 item.passed ? Colour::None : Colour::Bad);
        }
    }
    tell("job", {{"kind", nameOf(job.kind)},
                 {"name", utf8(job.name)},
                 {"outcome", outcome},
                 {"text", utf8(job.summary)},
                 {"items", std::move(items)}});
}

void Narrator::console(const std::string& text) {
    const std::lock_guard lock(mutex);
    line("console", printable(text), Colour::Bad);
    tell("console", {{"text", printable(text)}});
}

void Narrator::note(const std::string& text) {
    const std::lock_guard lock(mutex);
    line("note", printable(text), Colour::Note);
    tell("note", {{"text", printable(text)}});
}

void Narrator::close(const std::string& outcome, Colour colour,
                     const std::vector<std::string>& reports) {
    const std::lock_guard lock(mutex);
    endTransfer();
    output.line("");
    output.line("Outcome: " + output.coloured(colour, outcome));
    for (const std::string& report : reports) {
        output.line("Report:  " + printable(report));
    }
    tell("end", {{"outcome", outcome}, {"reports", arrayOf(reports)}});
}

void Narrator::tell(const char* event, json::object value) {
    if (output.isJson()) {
        json::object whole{{"event", event}, {"milliseconds", elapsed().count()}};
        for (auto& [key, part] : value) {
            whole[key] = std::move(part);
        }
        output.value(whole);
    }
}

void Narrator::line(const std::string& kind, const std::string& text, Colour colour) {
    output.line(output.coloured(Colour::Quiet, seconds(elapsed())) + "  " +
                padded(kind, kindWidth) + "  " + output.coloured(colour, text));
}

void Narrator::exchangeLine(const Uds::BusEvent& event) {
    if (!verbose || output.isJson()) {
        return;
    }
    using Kind = Uds::BusEvent::Kind;
    if (event.kind == Kind::Request && transfer.takesRequest(event.unit.link, event.bytes)) {
        return;
    }
    if (event.kind == Kind::Response && transfer.takesResponse(event.unit.link, event.bytes)) {
        return;
    }
    endTransfer();
    const bool isBad = event.kind == Kind::Lost || event.kind == Kind::Silence ||
                       (event.kind == Kind::Response && Uds::isNegative(event.bytes));
    line(unitOf(event.unit.link), printable(exchangeText(event)),
         isBad ? Colour::Note : Colour::None);
}

void Narrator::endTransfer() {
    const auto blocks = transfer.end();
    if (!blocks) {
        return;
    }
    const std::string unit = unitOf(blocks->link);
    if (blocks->accepted > 0) {
        const std::string count = std::to_string(blocks->accepted);
        line(unit, "> 36 ...  TransferData (0x36), " + count + " blocks with " +
                       std::to_string(blocks->bytes) + " bytes, each accepted");
    }
    if (blocks->open) {
        line(unit, exchangeText({Uds::BusEvent::Kind::Request, {blocks->link}, *blocks->open}));
    }
}

std::string Narrator::unitOf(const std::wstring& link) const {
    const auto found = unitNames.find(link);
    return found == unitNames.end() ? utf8(link) : found->second;
}

} // namespace Quarlen::Ctl
