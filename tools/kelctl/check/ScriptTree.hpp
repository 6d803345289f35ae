#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ConfigObject.hpp"
#include "xml/Fault.hpp"

namespace Quarlen::Ctl {

/// One element of a script file with its place.
struct ScriptElement {
    std::string name;
    Xml::Place place;
    /// The root has depth 1.
    std::size_t depth = 1;
    /// Index of the element around it; the root's is its own.
    std::size_t parent = 0;
    std::vector<std::pair<std::string, std::string>> attributes;
    /// Its own text without outer blanks, UTF-8.
    std::string text;
    /// Whether there was any text, blanks included.
    bool hasText = false;

    /// Empty when there is none.
    [[nodiscard]] std::string_view attribute(std::string_view wanted) const;
    [[nodiscard]] bool hasAttribute(std::string_view wanted) const;
    /// A flag as the server reads it; `fallback` where it is missing or refused.
    [[nodiscard]] bool isOn(std::string_view flag, bool fallback) const;
};

/// A script file as the server reads it, and its elements with their places, which the server has
/// no use for. Both come from one pass over the file: the server's own reader gets every event.
class ScriptTree {
public:
    /// Its elements need more than the memory that a check may take; the server may well load it.
    struct TooLarge {};

    /// Throws `TooLarge`.
    explicit ScriptTree(const std::filesystem::path& file);

    /// In the order of their begins; the first one is the root.
    [[nodiscard]] const std::vector<ScriptElement>& elements() const { return found; }
    /// Why the server does not load the file, in the order of the file; empty where it does. The
    /// server ends with the first one.
    [[nodiscard]] const std::vector<Xml::Fault>& refusals() const { return refused; }
    /// What the server makes of the file; null where it does not load.
    [[nodiscard]] const Config::Ref<Config::ConfigObject>& root() const { return rootObject; }
    /// False where the elements end early, because the file cannot be read to its end or is no
    /// well-formed XML: that is the last refusal then.
    [[nodiscard]] bool isComplete() const { return complete; }

private:
    class Reader;

    std::vector<ScriptElement> found;
    std::vector<Xml::Fault> refused;
    bool complete = false;
    Config::Ref<Config::ConfigObject> rootObject;
};

/// One action of a script with what stands in it.
struct ScriptAction {
    const ScriptElement* element = nullptr;
    /// Direct children, in the order of the file.
    std::vector<const ScriptElement*> children;
    /// The services of its report.
    std::vector<const ScriptElement*> services;

    /// The children of that name.
    [[nodiscard]] std::vector<const ScriptElement*> all(std::string_view name) const;
    /// Null when there is none.
    [[nodiscard]] const ScriptElement* first(std::string_view name) const;
};

/// Of the elements right below the root, whatever their names. The tree must outlive them.
std::vector<ScriptAction> actionsOf(const ScriptTree& tree);

} // namespace Quarlen::Ctl
