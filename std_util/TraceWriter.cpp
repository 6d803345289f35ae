#include "std_util/TraceWriter.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>

#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/ControlCharacters.hpp"
#include "std_util/RotatingFile.hpp"
#include "std_util/TraceTime.hpp"

namespace StdUtil {

namespace Platform = Quarlen::Platform;

namespace {

constexpr std::uint64_t maxFileSize = std::uint64_t{5} * 1024 * 1024;
/// In addition to the current file: three files in all.
constexpr std::size_t maxFormerFiles = 2;
/// While somebody keeps the file from being put aside.
constexpr std::uint64_t growthBetweenAttempts = std::uint64_t{256} * 1024;
/// The first is a `LocalTimeFlag`: the library's own local time follows TZ on Windows.
constexpr char timeFlag = '*';
constexpr const char* linePattern = "%* %-5l %v";
constexpr const char* lineEnd = "\n";

class LocalTimeFlag : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm& /*local*/,
                spdlog::memory_buf_t& line) override {
        const std::string text = times.text(message.time);
        line.append(text.data(), text.data() + text.size());
    }
    [[nodiscard]] std::unique_ptr<custom_flag_formatter> clone() const override {
        return std::make_unique<LocalTimeFlag>();
    }

private:
    TraceTime times;
};

std::unique_ptr<spdlog::formatter> makeFormatter() {
    auto formatter = std::make_unique<spdlog::pattern_formatter>(
        linePattern, spdlog::pattern_time_type::local, lineEnd);
    formatter->add_flag<LocalTimeFlag>(timeFlag).set_pattern(linePattern);
    return formatter;
}

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

/// True for a file that was left while a line was being written.
bool endsInsideALine(const std::filesystem::path& file) {
    std::ifstream content(Platform::openablePath(file), std::ios::binary | std::ios::ate);
    return content && content.tellg() > 0 && content.seekg(-1, std::ios::end) &&
           content.get() != '\n';
}

spdlog::level::level_enum levelOf(const TraceLine& line) {
    switch (line.level) {
    case TraceLevel::Error:
        return spdlog::level::err;
    case TraceLevel::Info:
        return spdlog::level::info;
    case TraceLevel::Debug:
        return spdlog::level::debug;
    }
    return spdlog::level::info;
}

} // namespace

TraceWriter::TraceWriter(std::filesystem::path name)
    : file(std::move(name)), formatter(makeFormatter()) {
    try {
        open();
    } catch (const std::system_error& error) {
        throw std::runtime_error(Platform::toUtf8(L"cannot write traces into " +
                                                  Platform::fromPath(file) + L": " +
                                                  Platform::errorText(error.code())));
    }
}

TraceWriter::~TraceWriter() = default;

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
        lines.reset(); // opened anew for the next traces, in whatever state this has left it
    }
}

void TraceWriter::open() {
    if (!lines) {
        startsLine = endsInsideALine(file);
        lines = std::make_unique<RotatingFile>(
            file, RotatingFile::Limits{maxFileSize, maxFormerFiles, growthBetweenAttempts});
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

/// The system gets each line at once, so that a full disk fails exactly the line that does not fit.
void TraceWriter::writeLine(const TimedTrace& trace) {
    const TraceLine& line = trace.line;
    const std::string text = Platform::toUtf8(onOneLine(line.source)) + ":" +
                             std::to_string(line.line) + " " +
                             Platform::toUtf8(onOneLine(line.text));
    spdlog::memory_buf_t whole;
    if (startsLine) {
        whole.append(lineEnd, lineEnd + 1);
    }
    formatter->format({trace.time, spdlog::source_loc{}, spdlog::string_view_t(), levelOf(line),
                       spdlog::string_view_t(text)},
                      whole);
    lines->write({whole.data(), whole.size()});
    startsLine = false;
}

} // namespace StdUtil
