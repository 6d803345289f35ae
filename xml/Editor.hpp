#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xml/File.hpp"
#include "xml/Scan.hpp"

namespace Xml {

/// The `index`-th child element of that name, counted from 0.
struct ElementStep {
    const char* name = "";
    std::size_t index = 0;
};

/// The path from a child of the root down to an element; an empty path is the root.
using ElementPath = std::vector<ElementStep>;

/// An element to be written as a whole.
struct NewElement {
    std::string name;
    std::vector<std::pair<std::string, std::wstring>> attributes;
    std::vector<NewElement> children;
};

/// Changes single values in the text of an XML file and leaves every other byte as it is: comments,
/// order, indentation, line ends, the way attributes are quoted. Elements that a change needs are
/// added behind their last sibling, indented like it. The editor owns the text and its parsed
/// `File`, which it parses anew after changes; the caller writes the result to the disk. Not
/// thread-safe.
class Editor {
public:
    /// Throws as `File`; `file` is only named in messages.
    Editor(std::filesystem::path file, std::string text, std::string_view rootElement,
           const Limits& limits);

    /// The file as it is after the changes so far.
    [[nodiscard]] const File& file();

    /// Throw `FileError` when XML cannot hold the value.
    void setText(const ElementPath& element, const std::wstring& value);
    void setAttribute(const ElementPath& element, const char* attribute, const std::wstring& value);
    /// `element` belongs to `file()`, and each attribute may be set once until the next call of
    /// `file()`. All these changes together cost one parse.
    void setAttribute(const pugi::xml_node& element, const char* attribute,
                      const std::wstring& value);
    /// Replaces the content of the element by `children` and keeps its attributes.
    void setChildren(const ElementPath& element, const std::vector<NewElement>& children);

private:
    /// A range of the current text and its replacement.
    struct Change {
        Scan::Range range;
        std::string replacement;
    };

    [[nodiscard]] pugi::xml_node find(const ElementPath& element) const;
    std::size_t provide(const ElementPath& element);
    void addChild(const ElementPath& parent, const char* name);
    void replace(std::size_t begin, std::size_t end, std::string_view replacement);
    void applyGathered();

    std::filesystem::path path;
    std::string rootName;
    Limits limits;
    /// The parsed text without the gathered changes.
    File current;
    /// Changes by the offset at which they begin.
    std::multimap<std::size_t, Change> gathered;
};

} // namespace Xml
