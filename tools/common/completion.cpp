#include "tools/common/completion.h"

#include <string_view>
#include <vector>

#include "tools/common/shell.h"

namespace qx::tools {
namespace {

struct Word {
  std::string text;
  std::string help;
};

struct ValuedOption {
  std::string name;
  std::string value;  ///< the words to choose from, or "file", or "none"
};

// What can be written at one place of the command line: behind the program, or behind a command.
struct Place {
  std::string commandLine;  ///< the commands that lead there; empty: the program alone
  std::vector<Word> commands;
  std::vector<Word> options;
  std::vector<ValuedOption> valued;
  bool takesFiles = false;
};

// CLI11 writes a choice into the name of the value's type: TEXT:{one,two}.
std::string valueOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::size_t begin = type.find(":{");
  if (begin == std::string::npos) {
    return type.starts_with("TEXT") ? "file" : "none";
  }
  std::string words = type.substr(begin + 2, type.find('}', begin) - begin - 2);
  for (char& c : words) {
    c = c == ',' ? ' ' : c;
  }
  return words;
}

void addOption(const CLI::Option& option, Place& place) {
  if (option.get_group().empty()) {
    return;
  }
  if (!option.nonpositional()) {
    const std::string name = option.get_name(/*positional=*/true);
    place.takesFiles = place.takesFiles || name == "FILE" || name == "DIR";
    return;
  }
  const bool hasValue = option.get_items_expected_max() != 0;
  const auto add = [&](const std::string& name) {
    place.options.push_back({name, option.get_description()});
    if (hasValue) {
      place.valued.push_back({name, valueOf(option)});
    }
  };
  for (const std::string& name : option.get_lnames()) {
    add("--" + name);
  }
  for (const std::string& name : option.get_snames()) {
    add("-" + name);
  }
}

// A command takes the options of what stands in front of it, too, but for the help, which is its own.
void addOptions(const CLI::App& app, Place& place) {
  for (const CLI::Option* option : app.get_options()) {
    addOption(*option, place);
  }
  for (const CLI::App* outer = app.get_parent(); outer != nullptr; outer = outer->get_parent()) {
    for (const CLI::Option* option : outer->get_options()) {
      if (option != outer->get_help_ptr()) {
        addOption(*option, place);
      }
    }
  }
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the program's commands
void collect(const CLI::App& app, const std::string& commandLine, std::vector<Place>& places) {
  Place place{.commandLine = commandLine, .commands = {}, .options = {}, .valued = {}};
  addOptions(app, place);
  const std::vector<const CLI::App*> commands = app.get_subcommands([](const CLI::App* command) {
    return !command->get_name().empty() && !command->get_group().empty();
  });
  for (const CLI::App* command : commands) {
    place.commands.push_back({command->get_name(), command->get_description()});
  }
  places.push_back(std::move(place));
  for (const CLI::App* command : commands) {
    const std::string before = commandLine.empty() ? "" : commandLine + " ";
    collect(*command, before + command->get_name(), places);
  }
}

std::string plainWords(const std::vector<Word>& words) {
  std::string list;
  for (const Word& word : words) {
    list += (list.empty() ? "" : " ") + word.text;
  }
  return shellWord(list);
}

// As _describe of zsh takes them.
std::string describedWords(const std::vector<Word>& words) {
  std::string list;
  for (const Word& word : words) {
    list += " " + shellWord(word.text + ":" + word.help);
  }
  return "(" + list + " )";
}

using WriteWords = std::string (*)(const std::vector<Word>&);

// The functions that know the program: what can be written at a place, and the value of an option there.
std::string tables(const std::string& name, const CLI::App& program, WriteWords write) {
  std::vector<Place> places;
  collect(program, "", places);
  std::string words = "_" + name + "_words() {\n  verbs= flags= operands=\n  case $1 in\n";
  std::string values = "_" + name + "_value() {\n  value=\n  case $1:$2 in\n";
  for (const Place& place : places) {
    words += "  " + shellWord(place.commandLine) + ")\n    verbs=" + write(place.commands) +
             "\n    flags=" + write(place.options) +
             "\n    operands=" + (place.takesFiles ? "file" : "none") + "\n    ;;\n";
    for (const ValuedOption& option : place.valued) {
      values += "  " + shellWord(place.commandLine + ":" + option.name) +
                ") value=" + shellWord(option.value) + " ;;\n";
    }
  }
  return words + "  esac\n}\n\n" + values + "  esac\n  [[ -n $value ]]\n}\n\n";
}

constexpr std::string_view kBash = R"(_NAME() {
  local current=${COMP_WORDS[COMP_CWORD]} place='' word verbs flags operands value i
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    _NAME_words "$place"
    if _NAME_value "$place" "$word"; then
      ((++i))
    elif [[ " $verbs " == *" $word "* ]]; then
      place=${place:+$place }$word
    fi
  done
  _NAME_words "$place"
  local words=''
  if ((i > COMP_CWORD)); then
    words=$value
  elif [[ $current == -* ]]; then
    words=$flags
  elif [[ -n $verbs ]]; then
    words=$verbs
  else
    words=$operands
  fi
  COMPREPLY=()
  if [[ $words == file ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  elif [[ $words != none ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  fi
}

complete -F _NAME NAME
)";

constexpr std::string_view kZsh = R"(_NAME() {
  local place='' word operands value
  local -a verbs flags
  integer i
  for ((i = 2; i < CURRENT; i++)); do
    word=$words[i]
    _NAME_words "$place"
    if _NAME_value "$place" "$word"; then
      ((++i))
    elif (( ${verbs[(I)$word:*]} )); then
      place=${place:+$place }$word
    fi
  done
  _NAME_words "$place"
  if ((i <= CURRENT)); then
    if [[ $words[CURRENT] == -* ]]; then
      _describe -o option flags
      return
    elif (( $#verbs )); then
      _describe command verbs
      return
    fi
    value=$operands
  fi
  case $value in
  file) _files ;;
  none) ;;
  *) compadd -- ${=value} ;;
  esac
}

_NAME "$@"
)";

std::string named(std::string_view text, const std::string& name) {
  constexpr std::string_view kPlaceholder = "NAME";
  std::string out(text);
  for (std::size_t at = out.find(kPlaceholder); at != std::string::npos;
       at = out.find(kPlaceholder, at + name.size())) {
    out.replace(at, kPlaceholder.size(), name);
  }
  return out;
}

}  // namespace

std::string bashCompletion(const CLI::App& program) {
  const std::string& name = program.get_name();
  return "# Completion of " + name + " in bash, written from the program's own definitions.\n" +
         tables(name, program, plainWords) + named(kBash, name);
}

std::string zshCompletion(const CLI::App& program) {
  const std::string& name = program.get_name();
  return "#compdef " + name + "\n# Written from the program's own definitions.\n" +
         tables(name, program, describedWords) + named(kZsh, name);
}

}  // namespace qx::tools
