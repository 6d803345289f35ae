#include "tools/kelctl/output/Completion.hpp"

#include <algorithm>
#include <functional>
#include <vector>

namespace Quarlen::Ctl {

namespace {

struct Word {
    std::string text;
    std::string meaning;
};

/// What may stand behind the words of a command: " script check", for example; empty for none.
struct Place {
    std::string path;
    std::vector<Word> words;
};

/// The words that an argument may be: CLI11 lists them in braces behind its type.
std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}');
    std::vector<std::string> choices;
    if (begin != std::string::npos && end != std::string::npos) {
        choices = CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
    }
    return choices;
}

bool has(const Place& place, const std::string& text) {
    return std::any_of(place.words.begin(), place.words.end(),
                       [&](const Word& word) { return word.text == text; });
}

void addOptions(const CLI::App& command, Place& place) {
    for (const CLI::Option* const option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            // Every command has --help.
            if (!has(place, "--" + name)) {
                place.words.push_back({"--" + name, option->get_description()});
            }
        }
        if (option->get_positional()) {
            for (const std::string& choice : choicesOf(*option)) {
                place.words.push_back({choice, option->get_description()});
            }
        }
    }
}

void addPlaces(const CLI::App& command, const std::string& path, const CLI::App* common,
               std::vector<Place>& places) {
    Place place{path, {}};
    for (const CLI::App* const sub : command.get_subcommands({})) {
        place.words.push_back({sub->get_name(), sub->get_description()});
    }
    addOptions(command, place);
    if (common != nullptr) {
        addOptions(*common, place);
    }
    places.push_back(place);
    for (const CLI::App* const sub : command.get_subcommands({})) {
        addPlaces(*sub, path + " " + sub->get_name(), common == nullptr ? &command : common,
                  places);
    }
}

std::vector<Place> placesOf(const CLI::App& application) {
    std::vector<Place> places;
    addPlaces(application, "", nullptr, places);
    return places;
}

/// "--role": which words may follow it.
std::string valueCases(const CLI::App& command,
                       const std::function<std::string(const std::vector<std::string>&)>& action) {
    std::string cases;
    for (const CLI::Option* const option : command.get_options()) {
        const auto choices = choicesOf(*option);
        if (!choices.empty() && option->nonpositional()) {
            cases += "        " + option->get_name() + ") " + action(choices) + " ;;\n";
        }
    }
    for (const CLI::App* const sub : command.get_subcommands({})) {
        cases += valueCases(*sub, action);
    }
    return cases;
}

/// The words before the one that is typed, as far as they name a command.
std::string pathCases(const std::vector<Place>& places) {
    std::string cases;
    for (const Place& place : places) {
        if (!place.path.empty()) {
            cases += (cases.empty() ? "" : "|") + ("'" + place.path + "'");
        }
    }
    return cases;
}

/// For a text between apostrophes.
std::string quoted(const std::string& text) {
    std::string safe;
    for (const char letter : text) {
        safe += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return "'" + safe + "'";
}

std::string joined(const std::vector<std::string>& words) {
    return CLI::detail::join(words, " ");
}

} // namespace

std::string bashCompletion(const CLI::App& application) {
    const auto places = placesOf(application);
    std::string script = "# kelctl in bash: source <(kelctl completion bash)\n"
                         "_kelctl() {\n"
                         "    local typed=${COMP_WORDS[COMP_CWORD]} path='' words='' word\n"
                         "    case ${COMP_WORDS[COMP_CWORD-1]} in\n" +
                         valueCases(application,
                                    [](const auto& choices) {
                                        return "COMPREPLY=($(compgen -W " +
                                               quoted(joined(choices)) + " -- \"$typed\")); return";
                                    }) +
                         "    esac\n"
                         "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
                         "        case \"$path $word\" in\n"
                         "        " +
                         pathCases(places) +
                         ") path=\"$path $word\" ;;\n"
                         "        esac\n"
                         "    done\n"
                         "    case $path in\n";
    for (const Place& place : places) {
        std::vector<std::string> words;
        for (const Word& word : place.words) {
            words.push_back(word.text);
        }
        script += "    " + quoted(place.path) + ") words=" + quoted(joined(words)) + " ;;\n";
    }
    return script + "    esac\n"
                    "    COMPREPLY=($(compgen -W \"$words\" -- \"$typed\"))\n"
                    "}\n"
                    "complete -o default -F _kelctl kelctl\n";
}

std::string zshCompletion(const CLI::App& application) {
    const auto places = placesOf(application);
    std::string script = "#compdef kelctl\n"
                         "# kelctl in zsh: source <(kelctl completion zsh)\n"
                         "_kelctl() {\n"
                         "    local place='' word\n"
                         "    local -a candidates\n"
                         "    case ${words[CURRENT-1]} in\n" +
                         valueCases(application,
                                    [](const auto& choices) {
                                        return "compadd -- " + joined(choices) + "; return";
                                    }) +
                         "    esac\n"
                         "    for word in \"${(@)words[2,CURRENT-1]}\"; do\n"
                         "        case \"$place $word\" in\n"
                         "        " +
                         pathCases(places) +
                         ") place=\"$place $word\" ;;\n"
                         "        esac\n"
                         "    done\n"
                         "    case $place in\n";
    for (const Place& place : places) {
        script += "    " + quoted(place.path) + ") candidates=(";
        for (const Word& word : place.words) {
            // A colon ends the word.
            script += "\n        " + quoted(word.text + ":" + word.meaning);
        }
        script += ") ;;\n";
    }
    return script +
           "    esac\n"
           "    _describe kelctl candidates\n"
           "    _files\n"
           "}\n"
           "if [[ $funcstack[1] = _kelctl ]]; then _kelctl; else compdef _kelctl kelctl; fi\n";
}

} // namespace Quarlen::Ctl
