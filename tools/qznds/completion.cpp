#include "completion.h"

#include <sstream>
#include <vector>

#include "catalogue.h"

namespace qznds {

namespace {

std::string join(const std::vector<std::string> &words, const char *separator) {
  std::string text;
  for (const auto &word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

// The long and short option names of a command, space separated.
std::string option_words(const CLI::App &app) {
  std::vector<std::string> words;
  for (const CLI::Option *option : app.get_options()) {
    for (const auto &name : option->get_lnames()) words.push_back("--" + name);
    for (const auto &name : option->get_snames()) words.push_back("-" + name);
  }
  return join(words, " ");
}

std::string setting_names(bool readable_only) {
  std::vector<std::string> names;
  for (const auto &s : catalogue()) {
    if (s.readable || !readable_only) names.push_back(s.name);
  }
  return join(names, " ");
}

}  // namespace

std::string bash_completion(const CLI::App &app) {
  std::ostringstream out;
  std::vector<std::string> commands;
  for (const CLI::App *command : app.get_subcommands({})) commands.push_back(command->get_name());
  out << "# bash completion for qznds, written by `qznds --completion bash`\n"
      << "_qznds() {\n"
      << "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command= i\n"
      << "  case $prev in\n"
      << "    --device|--interval|--count) return ;;\n"
      << "    --sim-state) COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n"
      << "  esac\n"
      << "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      << "    case ${COMP_WORDS[i]} in\n"
      << "      " << join(commands, "|") << ")\n"
      << "        command=${COMP_WORDS[i]}; break ;;\n"
      << "    esac\n"
      << "  done\n"
      << "  local words\n"
      << "  case $command in\n"
      << "    '') words=\"" << option_words(app) << " " << join(commands, " ") << "\" ;;\n";
  for (const CLI::App *command : app.get_subcommands({})) {
    const std::string &name = command->get_name();
    if (name == "get" || name == "set") {
      const std::string names = setting_names(name == "get");
      out << "    " << name << ") [[ $prev == " << name << " ]] && words=\"" << names << "\" ;;\n";
      continue;
    }
    out << "    " << name << ") words=\"" << option_words(*command) << "\" ;;\n";
  }
  out << "  esac\n"
      << "  COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
      << "}\n"
      << "complete -F _qznds qznds\n";
  return out.str();
}

}  // namespace qznds
