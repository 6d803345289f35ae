#include "std_util/TraceWriter.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/ControlCharacters.hpp"

namespace StdUtil {

namespace Platform = Quarlen::Platform;

namespace {

constexpr std::size_t maxFileSize = std::size_t{5} * 1024 * 1024;
/// In addition to the current file: three files in all.
constexpr std::size_t maxFormerFiles = 2;
/// The time with its offset from UTC, so that it means the same on every machine.
constexpr const char* linePattern = "%Y-%m-%d %H:%M:%S.%e%z %-5l %v";

using FileName = spdlog::filename_t;

/// Tabs are harmless and not escaped.
bool isEscaped(wchar_t letter) {
    // wchar_t is signed on some platforms.
    return letter != L'\t' && isControlCharacter(static_cast<char32_t>(letter));
}

std::wstring escaped(wchar_t control) {
    const bool endsLine = control == L'\n' || control == L'\r';
    return endsLine ? L"\\n" : hexEscape(static_cast<char32_t>(control));
}

/// The text as one line without characters that move a terminal's cursor when the file is shown.
std::wstring onOneLine(std::wstring_view text) {
    std::wstring line;
    line.reserve(text.size());
    const auto end = text.end();
    for (auto rest = text.begin(); rest != end; ++rest) {
        const auto control = std::find_if(rest, end, isEscaped);
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

/// Every line is passed to the system at once, so that a full disk fails exactly the line that does
/// not fit.
spdlog::file_event_handlers unbuffered() {
    spdlog::file_event_handlers handlers;
    handlers.after_open = [](const FileName& /*file*/, std::FILE* opened) {
        std::setvbuf(opened, nullptr, _IONBF, 0);
    };
    return handlers;
}

/// True for a file that was left while a line was being written.
bool endsInsideALine(const std::filesystem::path& file) {
    std::ifstream content(file, std::ios::binary | std::ios::ate);
    return content && content.tellg() > 0 && content.seekg(-1, std::ios::end) &&
           content.get() != '\n';
}

spdlog::level::level_enum levelOf(const TraceLine& line) {
    return line.level == TraceLevel::Error ? spdlog::level::err : spdlog::level::info;
}

} // namespace

TraceWriter::TraceWriter(std::filesystem::path name) : file(std::move(name)) {
    try {
        open();
    } catch (const spdlog::spdlog_ex& error) {
        // The library tells the cause in words alone.
        const std::error_code cause(errno, std::generic_category());
        throw std::runtime_error(
            "cannot write traces: " +
            Platform::toUtf8(Platform::textWithCause(error.what(), cause.message(), cause)));
    }
}

void TraceWriter::write(const std::vector<TimedTrace>& traces) noexcept {
    std::size_t done = 0;
    try {
        open();
        tellLost(traces.front().time);
        for (; done < traces.size(); ++done) {
            writeLine(traces[done]);
        }
    } catch (...) {
        lost += traces.size() - done;
        sink.reset(); // opened anew for the next traces, in whatever state this has left it
    }
}

void TraceWriter::open() {
    if (!sink) {
        startsLine = endsInsideALine(file);
        sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(
            file.string<FileName::value_type>(), maxFileSize, maxFormerFiles, false, unbuffered());
        sink->set_pattern(startsLine ? std::string("\n") + linePattern : linePattern);
    }
}

void TraceWriter::tellLost(std::chrono::system_clock::time_point time) {
    if (lost > 0) {
        writeLine({time,
                   {TraceLevel::Error, L"std_util/TraceWriter", __LINE__,
                    L"lines lost while the file could not be written: " + std::to_wstring(lost)}});
        lost = 0;
    }
}

void TraceWriter::writeLine(const TimedTrace& trace) {
    const TraceLine& line = trace.line;
    const std::string text = Platform::toUtf8(onOneLine(line.source)) + ":" +
                             std::to_string(line.line) + " " +
                             Platform::toUtf8(onOneLine(line.text));
    sink->log({trace.time, spdlog::source_loc{}, spdlog::string_view_t(), levelOf(line),
               spdlog::string_view_t(text)});
    if (std::exchange(startsLine, false)) {
        sink->set_pattern(linePattern);
    }
}

} // namespace StdUtil
