#include "kel_cpp/ServedFiles.hpp"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FolderListing.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/FileTool.hpp"

namespace Quarlen::Kel_cpp {

namespace {

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
std::vector<path> filesOf(const path& folder, std::wstring_view extension, Links links) {
    std::error_code ignored;
    std::vector<path> found = Platform::listFolder(folder, ignored);
    std::erase_if(found, [&](const path& entry) {
        return !hasExtension(entry, extension) || !Platform::isRegularFile(entry) ||
               (links == Links::LeftOut && Platform::isLink(entry));
    });
    std::sort(found.begin(), found.end());
    return found;
}

ReportFile reportFile(const path& file) {
    std::error_code ignored;
    const Platform::FileFacts facts = Platform::fileFacts(file, ignored);
    return {Platform::fromPath(file.filename()), facts.size, facts.written};
}

} // namespace

std::vector<std::wstring> listScripts(const path& configFolder) {
    std::vector<std::wstring> names;
    for (const path& file : filesOf(configFolder / "KelServerScripts", L".xml", Links::Followed)) {
        names.push_back(Platform::fromPath(file.filename()));
    }
    return names;
}

std::vector<ReportFile> listReports(const path& reportsFolder) {
    std::vector<ReportFile> reports;
    // Its content is served: a link may lead anywhere.
    for (const path& file : filesOf(reportsFolder, L".html", Links::LeftOut)) {
        reports.push_back(reportFile(file));
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
    try {
        return StdUtil::FileTool::readFile(
            StdUtil::PathString(reportsFolder / Platform::toPath(name)));
    } catch (const std::system_error& error) {
        throw runtimeError(ErrorCode::Report, L"the report " + inQuotes(name) +
                                                  L" cannot be read: " +
                                                  Platform::errorText(error.code()));
    }
}

} // namespace Quarlen::Kel_cpp
