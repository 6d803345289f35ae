#pragma once

#include <set>
#include <string>
#include <vector>

#include "xml/File.hpp"

namespace Quarlen::Kel_cpp {

/// The values of one attribute that have occurred in one list so far.
template <class Value>
class Uniqueness {
public:
    Uniqueness(const Xml::File& xmlFile, const char* attributeName)
        : file(xmlFile), attribute(attributeName) {}

    void add(const pugi::xml_node& node, const Value& value) {
        if (!values.insert(value).second) {
            file.failValue(node, attribute, L"a value that stands only once");
        }
    }

private:
    const Xml::File& file;
    const char* attribute;
    std::set<Value> values;
};

using UniqueNames = Uniqueness<std::wstring>;

/// Reads all child elements of one kind, whose `name` attributes differ.
template <class Element, class Read>
std::vector<Element> readNamed(const Xml::File& file, const pugi::xml_node& parent,
                               const char* element, Read read) {
    std::vector<Element> result;
    UniqueNames names(file, "name");
    for (const auto node : parent.children(element)) {
        result.push_back(read(file, node));
        names.add(node, result.back().name);
    }
    return result;
}

} // namespace Quarlen::Kel_cpp
