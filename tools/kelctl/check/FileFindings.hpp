#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/kelctl/check/FindingList.hpp"
#include "xml/File.hpp"

namespace Quarlen::Ctl {

/// Gathers what is found at the elements of one of the runtime's files.
class FileFindings {
public:
    /// The file must be one that its reader accepts.
    FileFindings(const std::filesystem::path& file, std::string_view rootElement);

    [[nodiscard]] pugi::xml_node root() const { return xml.root(); }
    /// At the element, or where it is null at the root.
    void add(Severity severity, const char* rule, const pugi::xml_node& element,
             const std::wstring& text, std::wstring hint = {});
    [[nodiscard]] std::vector<Finding> all() const { return found.sorted(); }

private:
    std::filesystem::path path;
    FindingList found;
    Xml::File xml;
};

} // namespace Quarlen::Ctl
