#pragma once

#include <string>
#include <string_view>

#include "config/ConfigObject.hpp"
#include "config/ScriptObjects.hpp"
#include "config/ScriptReader.hpp"
#include "xml/Parser.hpp"

namespace Config::Tests {

inline Ref<ConfigObject> parseRoot(std::string_view text) {
    ScriptReader reader;
    Xml::Parser parser(reader, ScriptReader::limits);
    parser.feed(text);
    parser.finish();
    return reader.root();
}

/// A script from what stands between its root tags.
inline Ref<CfxKelServerScript> parseScript(const std::string& actions) {
    const auto root = parseRoot("<KelServerScript>" + actions + "</KelServerScript>");
    return Ref(dynamic_cast<CfxKelServerScript*>(root.get()));
}

/// The first action of such a script. Keeps the script alive for as long as it is looked at; throws
/// `std::bad_cast` when the action is another one.
template <class Action>
class ParsedAction {
public:
    explicit ParsedAction(const std::string& text)
        : script(parseScript(text)), action(dynamic_cast<const Action&>(script->action(0))) {}

    const Action* operator->() const { return &action; }

private:
    Ref<CfxKelServerScript> script;
    const Action& action;
};

/// Cause of the fault in a text; empty when there is none.
template <class Function>
std::wstring causeOfFault(Function function) {
    try {
        function();
    } catch (const Xml::Fault& error) {
        return error.cause();
    }
    return {};
}

} // namespace Config::Tests
