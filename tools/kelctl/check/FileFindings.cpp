#include "tools/kelctl/check/FileFindings.hpp"

#include "xml/FileError.hpp"
#include "xml/Limits.hpp"

namespace Quarlen::Ctl {

namespace {

/// Of the runtime's readers, which have read the file before.
constexpr std::size_t maxFileSize = std::size_t{16} * 1024 * 1024;

} // namespace

FileFindings::FileFindings(const std::filesystem::path& file, std::string_view rootElement)
    : path(file), found(shownName(file)), xml(file, rootElement, Xml::limitsOfTree(maxFileSize)) {}

void FileFindings::add(Severity severity, const char* rule, const pugi::xml_node& element,
                       const std::wstring& text, std::wstring hint) {
    try {
        xml.fail(element ? element : xml.root(), text);
    } catch (const Xml::FileError& message) {
        found.add(findingOf(message.message(), path, severity, rule, std::move(hint)));
    }
}

} // namespace Quarlen::Ctl
