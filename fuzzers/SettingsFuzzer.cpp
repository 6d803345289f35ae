#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "fuzzers/NamesPlace.hpp"
#include "kel_cpp/settings/SettingsReader.hpp"
#include "xml/Editor.hpp"
#include "xml/FileError.hpp"

namespace {

using namespace Quarlen::Kel_cpp;

const std::filesystem::path folder = "/config";
const std::filesystem::path fileName = folder / "KelServer.xml";

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

Xml::Editor editorOf(const std::string& text) {
    return {fileName, text, SettingsReader::rootElement, SettingsReader::limits};
}

/// Nothing when the text is refused.
std::optional<RuntimeSettings> settingsOf(const std::string& text) {
    try {
        return SettingsReader::read(editorOf(text).file(), folder);
    } catch (const Xml::FileError& error) {
        require(Fuzzers::namesPlace(error.message(), fileName.wstring(), text));
        return std::nullopt;
    }
}

/// What an edit has left is read like every other file.
RuntimeSettings settingsAfter(Xml::Editor& editor) {
    return SettingsReader::read(editor.file(), folder);
}

std::vector<bool> flagsOf(const RuntimeSettings& settings) {
    std::vector<bool> flags;
    for (const auto& group : settings.interfaces.groups) {
        for (const auto& entry : group->interfaces) {
            flags.push_back(entry->enabled);
        }
    }
    return flags;
}

void switchTracing(const std::string& text, const RuntimeSettings& before) {
    auto editor = editorOf(text);
    const bool wanted = !before.paths.tracing;
    editor.setAttribute({{"Tracing"}}, "enabled", wanted ? L"true" : L"false");
    const auto after = settingsAfter(editor);
    require(after.paths.tracing == wanted && after.traceLevel == before.traceLevel);
    require(flagsOf(after) == flagsOf(before));
}

void switchInterfaces(const std::string& text, const RuntimeSettings& before) {
    auto editor = editorOf(text);
    const auto section = editor.file().root().child("Interfaces");
    if (!section) {
        return;
    }
    auto wanted = flagsOf(before);
    wanted.flip();
    auto flag = wanted.begin();
    for (const auto group : section.children("Group")) {
        for (const auto entry : group.children("Interface")) {
            editor.setAttribute(entry, "enabled", *flag++ ? L"true" : L"false");
        }
    }
    const auto after = settingsAfter(editor);
    require(flagsOf(after) == wanted && after.paths.tracing == before.paths.tracing);
}

void changePath(const std::string& text, const RuntimeSettings& before) {
    auto editor = editorOf(text);
    editor.setText({{"Paths"}, {"Projects"}}, L"/else & where");
    const auto after = settingsAfter(editor);
    require(after.paths.projectsPath == L"/else & where");
    require(after.paths.tracesPath == before.paths.tracesPath);
}

void replaceInterfaces(const std::string& text, const RuntimeSettings& before) {
    auto editor = editorOf(text);
    const Xml::NewElement entry{"Interface", {{"name", L"\"<'"}, {"enabled", L"true"}}, {}};
    editor.setChildren({{"Interfaces"}}, {{"Group", {{"name", L"&"}}, {entry}}});
    const auto after = settingsAfter(editor);
    require(flagsOf(after) == std::vector{true});
    require(after.interfaces.groups[0]->interfaces[0]->name == L"\"<'");
    require(after.paths.tracing == before.paths.tracing);
}

} // namespace

/// A refusal names a place inside of the text. What is accepted is still accepted after an edit,
/// with the new value in it and its neighbours as they were.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto settings = settingsOf(text)) {
        switchTracing(text, *settings);
        switchInterfaces(text, *settings);
        changePath(text, *settings);
        replaceInterfaces(text, *settings);
    }
    return 0;
}
