#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kel_cpp/settings/XmlReading.hpp"
#include "kel_cpp/settings/XmlScan.hpp"

namespace Quarlen::Kel_cpp {

/// The `index`-th child element of that name, counted from 0.
struct ElementStep {
    const char* name = "";
    std::size_t index = 0;
};

/// From the root's child down to one element; empty is the root itself.
using ElementPath = std::vector<ElementStep>;

/// An element to be written as a whole.
struct NewElement {
    std::string name;
    std::vector<std::pair<std::string, std::wstring>> attributes;
    std::vector<NewElement> children;
};

/// Changes single values in the text of an XML file and leaves every other byte as it is: comments,
/// order, indentation, line ends, the way attributes are quoted. Elements that a change needs are
/// added behind their last sibling, indented like it.
class XmlEditor {
public:
    /// Throws as `XmlFile`; `file` is only named in messages.
    XmlEditor(std::filesystem::path file, std::string text, std::string_view rootElement);

    /// The file as it is after the changes so far.
    [[nodiscard]] const XmlFile& file();

    /// Throw `KelApiException` (code Configuration) when XML cannot hold the value.
    void setText(const ElementPath& element, const std::wstring& value);
    void setAttribute(const ElementPath& element, const char* attribute, const std::wstring& value);
    /// For an element of `file()` and not twice for one attribute, until `file()` is called again:
    /// any number of these changes costs one parse.
    void setAttribute(const pugi::xml_node& element, const char* attribute,
                      const std::wstring& value);
    /// Leaves the element there, with its attributes, and puts `children` in the place of its
    /// content.
    void setChildren(const ElementPath& element, const std::vector<NewElement>& children);

private:
    /// A part of the current text and what takes its place.
    struct Change {
        XmlScan::Range range;
        std::string replacement;
    };

    [[nodiscard]] pugi::xml_node find(const ElementPath& element) const;
    std::size_t provide(const ElementPath& element);
    void addChild(const ElementPath& parent, const char* name);
    void replace(std::size_t begin, std::size_t end, std::string_view replacement);
    void applyGathered();

    std::filesystem::path path;
    std::string rootName;
    /// Without the gathered changes.
    XmlFile current;
    /// By where they begin.
    std::multimap<std::size_t, Change> gathered;
};

} // namespace Quarlen::Kel_cpp
