#include "tools/kelctl/check/ScriptTree.hpp"

#include <algorithm>
#include <iterator>
#include <set>

#include "config/ScriptReader.hpp"
#include "xml/FileBytes.hpp"
#include "xml/Parser.hpp"

namespace Quarlen::Ctl {

namespace {

constexpr const char* blanks = " \t\r\n";

/// Nobody reads more of them.
constexpr std::size_t maxRefusals = 100;

std::string withoutOuterBlanks(const std::string& text) {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos
               ? std::string()
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

std::string_view ScriptElement::attribute(std::string_view wanted) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const auto& each) { return each.first == wanted; });
    return found == attributes.end() ? std::string_view() : std::string_view(found->second);
}

bool ScriptElement::hasAttribute(std::string_view wanted) const {
    return std::any_of(attributes.begin(), attributes.end(),
                       [&](const auto& each) { return each.first == wanted; });
}

bool ScriptElement::isOn(std::string_view flag, bool fallback) const {
    const std::string value = withoutOuterBlanks(std::string(attribute(flag)));
    const bool isSaid = value == "true" || value == "1" || value == "false" || value == "0";
    return isSaid ? value == "true" || value == "1" : fallback;
}

std::vector<const ScriptElement*> ScriptAction::all(std::string_view name) const {
    std::vector<const ScriptElement*> named;
    std::copy_if(children.begin(), children.end(), std::back_inserter(named),
                 [&](const auto* child) { return child->name == name; });
    return named;
}

const ScriptElement* ScriptAction::first(std::string_view name) const {
    const auto named = all(name);
    return named.empty() ? nullptr : named.front();
}

std::vector<ScriptAction> actionsOf(const ScriptTree& tree) {
    std::vector<ScriptAction> actions;
    for (const ScriptElement& element : tree.elements()) {
        if (element.depth == 2) {
            actions.push_back({&element, {}, {}});
        } else if (element.depth == 3) {
            actions.back().children.push_back(&element);
        } else if (element.depth == 4 && element.name == "Service") {
            actions.back().services.push_back(&element);
        }
    }
    return actions;
}

/// Passes everything on to the server's reader and keeps the elements.
class ScriptTree::Reader final : public Xml::Receiver {
public:
    Reader(std::vector<ScriptElement>& elements, std::vector<Xml::Fault>& refusals)
        : elements(elements), refusals(refusals) {}

    void begin(std::string_view element, const Xml::Attributes& attributes) override {
        tell([&] { server.begin(element, attributes); });
        charge(sizeof(ScriptElement) + element.size());
        ScriptElement next;
        next.name = element;
        next.place = parser->place();
        next.depth = open.size() + 1;
        next.parent = open.empty() ? 0 : open.back();
        for (std::size_t index = 0; index < attributes.size(); ++index) {
            const auto [name, value] = attributes.at(index);
            charge(sizeof(next.attributes.front()) + name.size() + value.size());
            next.attributes.emplace_back(name, value);
        }
        open.push_back(elements.size());
        elements.push_back(std::move(next));
    }
    void end() override {
        tell([&] { server.end(); });
        std::string& text = elements[open.back()].text;
        text = withoutOuterBlanks(text);
        open.pop_back();
    }
    void text(std::string_view part) override {
        tell([&] { server.text(part); });
        charge(part.size());
        elements[open.back()].text += part;
        elements[open.back()].hasText = true;
    }

    [[nodiscard]] Config::Ref<Config::ConfigObject> root() const { return server.root(); }

    const Xml::Parser* parser = nullptr;

private:
    /// The server's reader goes on after a refusal as if the refused value were not there, so that
    /// the next one is found, too.
    template <class Event>
    void tell(const Event& event) {
        if (refusals.size() == maxRefusals) {
            return;
        }
        try {
            event();
        } catch (const Config::ScriptReader::TooMuch& fault) {
            // What follows breaks the same limit again and again.
            if (limits.insert(fault.cause()).second) {
                refusals.emplace_back(fault.cause(), parser->place());
            }
        } catch (const Xml::Fault& fault) {
            refusals.emplace_back(fault.cause(), parser->place());
        }
    }
    void charge(std::size_t bytes) {
        charged += bytes;
        if (charged > Config::ScriptReader::limits.size) {
            throw TooLarge();
        }
    }

    Config::ScriptReader server;
    std::vector<ScriptElement>& elements;
    std::vector<Xml::Fault>& refusals;
    std::set<std::wstring> limits;
    std::vector<std::size_t> open;
    std::size_t charged = 0;
};

ScriptTree::ScriptTree(const std::filesystem::path& file) {
    Reader reader(found, refused);
    Xml::Parser parser(reader, Config::ScriptReader::limits);
    reader.parser = &parser;
    try {
        Xml::readFile(file, Config::ScriptReader::limits.size,
                      [&](std::string_view part) { parser.feed(part); });
        parser.finish();
        complete = true;
    } catch (const Xml::Fault& fault) {
        refused.push_back(fault);
    }
    if (refused.empty()) {
        rootObject = reader.root();
    }
}

} // namespace Quarlen::Ctl
