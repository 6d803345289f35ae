#include "kel_cpp/ServedFiles.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using std::filesystem::directory_entry;
using std::filesystem::path;

/// In upper or lower case.
bool hasExtension(const path& file, std::wstring_view extension) {
    std::wstring own = Platform::fromPath(file.extension());
    std::transform(own.begin(), own.end(), own.begin(), [](wchar_t letter) {
        return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter - L'A' + L'a')
                                                : letter;
    });
    return own == extension;
}

enum class Links { LeftOut, Followed };

/// Regular files with this extension, sorted by name.
std::vector<directory_entry> filesOf(const path& folder, std::wstring_view extension, Links links) {
    std::vector<directory_entry> found;
    std::error_code failure;
    std::filesystem::directory_iterator entry(folder, failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        std::error_code ignored;
        if (hasExtension(entry->path(), extension) && entry->is_regular_file(ignored) &&
            (links == Links::Followed || !entry->is_symlink(ignored))) {
            found.push_back(*entry);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::chrono::system_clock::time_point systemTime(std::filesystem::file_time_type time) {
    // The clock of files has no portable conversion; both run at the same rate.
    using namespace std::chrono;
    return time_point_cast<system_clock::duration>(time - decltype(time)::clock::now() +
                                                   system_clock::now());
}

ReportFile reportFile(const directory_entry& entry) {
    std::error_code ignored;
    return {Platform::fromPath(entry.path().filename()), entry.file_size(ignored),
            systemTime(entry.last_write_time(ignored))};
}

} // namespace

std::vector<std::wstring> listScripts(const path& configFolder) {
    std::vector<std::wstring> names;
    for (const directory_entry& entry :
         filesOf(configFolder / "KelServerScripts", L".xml", Links::Followed)) {
        names.push_back(Platform::fromPath(entry.path().filename()));
    }
    return names;
}

std::vector<ReportFile> listReports(const path& reportsFolder) {
    std::vector<ReportFile> reports;
    // Its content is served: a link may lead anywhere.
    for (const directory_entry& entry : filesOf(reportsFolder, L".html", Links::LeftOut)) {
        reports.push_back(reportFile(entry));
    }
    return reports;
}

std::string readReport(const path& reportsFolder, const std::wstring& name) {
    const std::vector<ReportFile> reports = listReports(reportsFolder);
    const auto found = std::find_if(reports.begin(), reports.end(),
                                    [&](const ReportFile& report) { return report.name == name; });
    if (found == reports.end() || found->bytes > maxServedReport) {
        throw runtimeError(ErrorCode::Report, L"there is no report " + inQuotes(name));
    }
    std::ifstream file(reportsFolder / Platform::toPath(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace Quarlen::Kel_cpp
