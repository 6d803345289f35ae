#include "kel_cpp/rpc/JsonRecords.hpp"

#include <cstdint>
#include <optional>
#include <vector>

#include <boost/json/array.hpp>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::JsonRecords {

namespace json = boost::json;

namespace {

/// Each status text is sent with its time, so that this must not take long.
void append(std::string& text, std::int64_t number, std::size_t digits, char after) {
    text.resize(text.size() + digits, '0');
    for (auto digit = text.rbegin(); number > 0 && digits > 0; ++digit, --digits, number /= 10) {
        *digit = static_cast<char>('0' + number % 10);
    }
    text.push_back(after);
}

json::value timeOrNull(const std::optional<SystemTime>& time) {
    return time ? json::value(timeText(*time)) : json::value();
}

const char* name(JobKind kind) {
    switch (kind) {
    case JobKind::Procedure:
        return "procedure";
    case JobKind::QuickTest:
        return "quickTest";
    case JobKind::Flash:
        return "flash";
    case JobKind::Service:
        break;
    }
    return "service";
}

json::value name(JobOutcome outcome) {
    switch (outcome) {
    case JobOutcome::Passed:
        return "passed";
    case JobOutcome::Failed:
        return "failed";
    case JobOutcome::Cancelled:
        return "cancelled";
    case JobOutcome::Running:
        break;
    }
    return nullptr;
}

json::value name(RunOutcome outcome) {
    switch (outcome) {
    case RunOutcome::Clean:
        return "clean";
    case RunOutcome::Failed:
        return "failed";
    case RunOutcome::Findings:
        return "findings";
    case RunOutcome::Cancelled:
        return "cancelled";
    case RunOutcome::Running:
        break;
    }
    return nullptr;
}

json::object job(const JobEntry& entry) {
    json::array items;
    for (const JobItem& item : entry.items) {
        items.push_back(json::object{
            {"name", text(item.name)}, {"passed", item.passed}, {"text", text(item.text)}});
    }
    return {{"kind", name(entry.kind)},       {"name", text(entry.name)},
            {"begin", timeText(entry.begin)}, {"end", timeOrNull(entry.end)},
            {"outcome", name(entry.outcome)}, {"summary", text(entry.summary)},
            {"items", std::move(items)}};
}

} // namespace

json::string text(const std::wstring& wide) {
    return json::string(Platform::toUtf8(wide));
}

json::array texts(const std::vector<std::wstring>& list) {
    json::array array;
    for (const std::wstring& entry : list) {
        array.push_back(text(entry));
    }
    return array;
}

const char* roleName(Role role) {
    switch (role) {
    case Role::Watch:
        return "watch";
    case Role::Control:
        return "control";
    case Role::None:
        break;
    }
    return "none";
}

std::string timeText(SystemTime time) {
    using namespace std::chrono;
    const auto whole = floor<milliseconds>(time);
    const auto day = floor<days>(whole);
    const year_month_day date(day);
    const hh_mm_ss clock(whole - day);
    std::string text;
    text.reserve(24);
    append(text, static_cast<int>(date.year()), 4, '-');
    append(text, static_cast<unsigned>(date.month()), 2, '-');
    append(text, static_cast<unsigned>(date.day()), 2, 'T');
    append(text, clock.hours().count(), 2, ':');
    append(text, clock.minutes().count(), 2, ':');
    append(text, clock.seconds().count(), 2, '.');
    append(text, clock.subseconds().count(), 3, 'Z');
    return text;
}

json::object status(const StatusEntry& entry) {
    return {{"text", text(entry.text)}, {"time", timeText(entry.time)}, {"number", entry.number}};
}

json::object progress(const JobProgress& entry) {
    return {{"kind", name(entry.kind)}, {"controlUnit", text(entry.controlUnit)},
            {"unit", text(entry.unit)}, {"done", entry.done},
            {"total", entry.total},     {"job", entry.job}};
}

json::object runSummary(const RunSummary& run) {
    return {{"id", run.id},
            {"name", text(run.name)},
            {"client", text(run.client)},
            {"begin", timeText(run.begin)},
            {"end", timeOrNull(run.end)},
            {"outcome", name(run.outcome)},
            {"reports", texts(run.reports)}};
}

json::object run(const RunEntry& run) {
    json::object object = runSummary(run);
    json::array statuses;
    for (const StatusEntry& entry : run.statuses) {
        statuses.push_back(status(entry));
    }
    json::array jobs;
    for (const JobEntry& entry : run.jobs) {
        jobs.push_back(job(entry));
    }
    object["statuses"] = std::move(statuses);
    object["statusesLeftOut"] = run.statusesLeftOut;
    object["jobs"] = std::move(jobs);
    object["exceptions"] = texts(run.exceptions);
    return object;
}

} // namespace Quarlen::Kel_cpp::JsonRecords
