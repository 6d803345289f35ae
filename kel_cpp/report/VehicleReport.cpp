#include "kel_cpp/report/VehicleReport.hpp"

#include <string_view>
#include <system_error>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/report/ReportPage.hpp"
#include "kel_cpp/report/ReportTexts.hpp"
#include "platform/FileActions.hpp"
#include "platform/LocalTime.hpp"
#include "platform/NewFile.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

/// Keep the whole name below the 255 bytes that file systems allow, four bytes a character.
constexpr std::size_t maxNamePartLength = 40;
constexpr std::size_t maxVinPartLength = 24;

/// More reports of one name within one second are a sign of another fault.
constexpr int maxTries = 10'000;

TimeTexts localTexts(const VehicleReport& report) {
    const std::time_t moment = std::chrono::system_clock::to_time_t(report.time);
    return timeTexts(Platform::localTime(moment), moment);
}

/// False for blanks, for characters that a platform reserves and for characters that are not text.
bool isSafeInFileName(wchar_t character) {
    constexpr std::wstring_view reserved = L"<>:\"/\\|?*% \x7F";
    return character > L'\x1F' && reserved.find(character) == std::wstring_view::npos &&
           !Platform::toUtf8(std::wstring_view(&character, 1)).empty();
}

std::wstring trimmed(const std::wstring& text) {
    constexpr std::wstring_view blanks = L" \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::wstring::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::wstring fileNamePart(const std::wstring& text, std::size_t maxLength,
                          std::wstring_view ifEmpty) {
    std::wstring part = trimmed(text).substr(0, maxLength);
    for (wchar_t& character : part) {
        if (!isSafeInFileName(character)) {
            character = L'_';
        }
    }
    return part.empty() ? std::wstring(ifEmpty) : part;
}

std::wstring fileStem(const VehicleReport& report, const TimeTexts& time) {
    return Platform::fromUtf8(time.forFileNames) + L"_" +
           fileNamePart(report.vin, maxVinPartLength, L"NoVIN") + L"_" +
           fileNamePart(report.name, maxNamePartLength, L"Report");
}

[[noreturn]] void throwReportError(const std::filesystem::path& path, const std::wstring& cause) {
    throw runtimeError(ErrorCode::Report, L"the vehicle report cannot be written to \"" +
                                              Platform::fromPath(path) + L"\": " + cause);
}

std::filesystem::path absoluteFolder(const std::filesystem::path& folder) {
    try {
        Platform::createFolders(folder);
        return Platform::absolutePath(folder);
    } catch (const std::system_error& error) {
        throwReportError(folder, Platform::errorText(error.code()));
    }
}

bool createFile(const std::filesystem::path& file, const std::string& page) {
    try {
        return Platform::createNewFile(file, page);
    } catch (const std::system_error& error) {
        throwReportError(file, Platform::errorText(error.code()));
    }
}

/// The first attempt uses the plain name, later attempts add a counter from 2.
std::filesystem::path candidate(const std::filesystem::path& folder, const std::wstring& stem,
                                int attempt) {
    const std::wstring counter = attempt == 1 ? L"" : L"_" + std::to_wstring(attempt);
    return folder / Platform::toPath(stem + counter + L".html");
}

} // namespace

std::string renderVehicleReport(const VehicleReport& report) {
    return renderReportPage(report, localTexts(report));
}

std::wstring writeVehicleReport(const VehicleReport& report, const std::filesystem::path& folder) {
    const TimeTexts time = localTexts(report);
    const std::string page = renderReportPage(report, time);
    const std::filesystem::path target = absoluteFolder(folder);
    const std::wstring stem = fileStem(report, time);
    for (int attempt = 1; attempt <= maxTries; ++attempt) {
        const std::filesystem::path file = candidate(target, stem, attempt);
        if (createFile(file, page)) {
            return Platform::fromPath(file);
        }
    }
    throwReportError(target / Platform::toPath(stem + L".html"),
                     L"too many reports of that name are there already");
}

} // namespace Quarlen::Kel_cpp
