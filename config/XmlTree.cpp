#include "config/XmlTree.hpp"

#include <algorithm>
#include <vector>

#include "config/FileError.hpp"
#include "platform/TextEncoding.hpp"

namespace Config {
namespace {

/// Fragments keep what stands beside the root element, so that it can be refused.
constexpr unsigned int parseOptions = pugi::parse_default | pugi::parse_fragment;

void parse(pugi::xml_document& document, std::string_view text) {
    if (std::count(text.begin(), text.end(), '<') >
        static_cast<std::ptrdiff_t>(XmlTree::maximumTags)) {
        throw FileError(0, L"the file has more than 4,000,000 tags");
    }
    const pugi::xml_parse_result result =
        document.load_buffer(text.data(), text.size(), parseOptions, pugi::encoding_utf8);
    if (!result) {
        // A tag that the text ends in is reported one byte behind the text.
        const auto size = static_cast<std::ptrdiff_t>(text.size());
        throw FileError(
            static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(result.offset, 0, size)),
            Quarlen::Platform::fromUtf8(result.description()));
    }
}

pugi::xml_node onlyElement(const pugi::xml_document& document) {
    pugi::xml_node root;
    for (const pugi::xml_node& node : document.children()) {
        if (node.type() != pugi::node_element) {
            throw FileError(offsetOf(node), L"text outside of the root element");
        }
        if (root) {
            throw FileError(offsetOf(node), L"a second root element");
        }
        root = node;
    }
    if (!root) {
        throw FileError(0, L"the file has no root element");
    }
    return root;
}

void checkAttributes(const pugi::xml_node& element) {
    std::vector<std::string_view> names;
    for (const pugi::xml_attribute& attribute : element.attributes()) {
        names.emplace_back(attribute.name());
    }
    std::sort(names.begin(), names.end());
    const auto twice = std::adjacent_find(names.begin(), names.end());
    if (twice != names.end()) {
        throw FileError(offsetOf(element), L"the attribute \"" +
                                               Quarlen::Platform::fromUtf8(*twice) +
                                               L"\" stands twice in one element");
    }
}

/// Next element in document order, null after the last one. Keeps `depth` up to date.
pugi::xml_node nextNode(pugi::xml_node node, std::size_t& depth) {
    if (const pugi::xml_node child = node.first_child()) {
        ++depth;
        return child;
    }
    while (depth > 1 && !node.next_sibling()) {
        node = node.parent();
        --depth;
    }
    return depth > 1 ? node.next_sibling() : pugi::xml_node();
}

/// A loop, not a recursion: the file decides about the depth.
void checkElements(const pugi::xml_node& root) {
    std::size_t depth = 1;
    for (pugi::xml_node node = root; node; node = nextNode(node, depth)) {
        if (node.type() != pugi::node_element) {
            continue;
        }
        if (depth > XmlTree::maximumDepth) {
            throw FileError(offsetOf(node), L"more than 256 elements inside each other");
        }
        checkAttributes(node);
    }
}

} // namespace

XmlTree::XmlTree(std::string_view text) {
    parse(document, text);
    rootElement = onlyElement(document);
    checkElements(rootElement);
}

std::size_t offsetOf(const pugi::xml_node& node) {
    return static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0));
}

} // namespace Config
