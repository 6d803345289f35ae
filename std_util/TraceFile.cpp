#include "std_util/TraceFile.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include "platform/TextEncoding.hpp"
#include "std_util/TraceQueue.hpp"

namespace StdUtil {

namespace Platform = Quarlen::Platform;

namespace {

constexpr std::size_t largestFile = std::size_t{5} * 1024 * 1024;
/// Beside the one that is written: three files in all.
constexpr std::size_t formerFiles = 2;

using FileName = spdlog::filename_t;

/// The C0 controls but the tab, DEL and the C1 controls, which some terminals obey as well.
bool isControl(wchar_t letter) {
    const auto code = static_cast<char32_t>(letter); // wchar_t is signed on some platforms
    return (code < 0x20 && letter != L'\t') || (code >= 0x7F && code <= 0x9F);
}

std::wstring escaped(wchar_t control) {
    if (control == L'\n' || control == L'\r') {
        return L"\\n";
    }
    constexpr std::wstring_view digits = L"0123456789abcdef";
    const auto code = static_cast<char32_t>(control);
    return {L'\\', L'x', digits[code / 16], digits[code % 16]};
}

/// One line, and nothing in it that moves a terminal's cursor when the file is shown.
std::wstring onOneLine(std::wstring_view text) {
    std::wstring line;
    line.reserve(text.size());
    const auto end = text.end();
    for (auto rest = text.begin(); rest != end; ++rest) {
        const auto control = std::find_if(rest, end, isControl);
        line.append(rest, control);
        if (control == end) {
            break;
        }
        const bool firstOfPair = *control == L'\r' && control + 1 != end && control[1] == L'\n';
        line += firstOfPair ? L"" : escaped(*control);
        rest = control;
    }
    return line;
}

spdlog::logger openLogger(const FileName& file) {
    spdlog::logger logger("trace", std::make_shared<spdlog::sinks::rotating_file_sink_st>(
                                       file, largestFile, formerFiles));
    logger.set_level(spdlog::level::trace);
    logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %-5l %v");
    return logger;
}

void write(spdlog::logger& logger, const TimedTrace& trace) {
    const TraceLine& line = trace.line;
    const std::string text = Platform::toUtf8(onOneLine(line.source)) + ":" +
                             std::to_string(line.line) + " " +
                             Platform::toUtf8(onOneLine(line.text));
    const auto level = line.level == TraceLevel::Error ? spdlog::level::err : spdlog::level::info;
    logger.log(trace.time, spdlog::source_loc{}, level, spdlog::string_view_t(text));
}

class TraceFile final : public TraceListener {
public:
    explicit TraceFile(const FileName& file) : logger(openLogger(file)) {}

    void onTrace(const TraceLine& line) override {
        queue.push({std::chrono::system_clock::now(), line});
    }

private:
    void writeAll(const TraceQueue::Traces& traces) {
        for (const TimedTrace& trace : traces) {
            write(logger, trace);
        }
        logger.flush();
    }

    spdlog::logger logger;
    TraceQueue queue{[this](const TraceQueue::Traces& traces) { writeAll(traces); }};
};

} // namespace

std::shared_ptr<TraceListener> openTraceFile(const std::filesystem::path& file) {
    try {
        return std::make_shared<TraceFile>(file.string<FileName::value_type>());
    } catch (const spdlog::spdlog_ex& error) {
        throw std::runtime_error("cannot write traces: " + std::string(error.what()));
    }
}

} // namespace StdUtil
