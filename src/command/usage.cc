#include "command/usage.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include <CLI/CLI.hpp>

#include "text/ascii.h"

namespace nimport::command {

namespace {

// How many letters are to be added, left out, changed or swapped with the next one to make `b` of
// `a`.
std::size_t CountChanges(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::vector<std::size_t> row(b.size() + 1);
    row[0] = i;
    for (std::size_t k = 1; k <= b.size(); ++k) {
      const std::size_t isOther = a[i - 1] == b[k - 1] ? 0 : 1;
      row[k] = std::min({last[k] + 1, row[k - 1] + 1, last[k - 1] + isOther});
      const bool isSwapped = i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1];
      if (isSwapped) row[k] = std::min(row[k], beforeLast[k - 2] + 1);
    }
    beforeLast = std::exchange(last, std::move(row));
  }
  return last.back();
}

std::vector<std::string> SubcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* subcommand : app.get_subcommands({}))
    names.push_back(subcommand->get_name());
  return names;
}

// With their dashes.
std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames())
      names.push_back("--" + name);
    for (const std::string& name : option->get_snames())
      names.push_back("-" + name);
  }
  return names;
}

// "a, b and c".
std::string ListOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 == names.size() ? " and " : ", ";
    list += names[i];
  }
  return list;
}

// Which other subcommands have the option.
std::string Owners(const CLI::App& app, const std::string& option) {
  std::vector<std::string> owners;
  for (const CLI::App* subcommand : app.get_subcommands({})) {
    const std::vector<std::string> names = OptionNames(*subcommand);
    if (std::ranges::find(names, option) != names.end()) owners.push_back(subcommand->get_name());
  }
  if (owners.empty()) return {};
  return ", which belongs to " + ListOf(owners);
}

std::string ExplainOption(const CLI::App& app, const CLI::App* subcommand,
                          const std::string& argument) {
  const std::string option = argument.substr(0, argument.find('='));
  const CLI::App& asked = subcommand != nullptr ? *subcommand : app;
  std::string text = asked.get_name() + " has no option " + option;
  const std::string owners = subcommand != nullptr ? Owners(app, option) : std::string();
  return text + (owners.empty() ? DidYouMean(option, OptionNames(asked)) : owners);
}

std::string ExplainSubcommand(const CLI::App& app, const std::string& word) {
  const std::vector<std::string> names = SubcommandNames(app);
  const std::string near = DidYouMean(word, names);
  return "there is no subcommand \"" + word + '"' +
         (near.empty() ? "; there are " + ListOf(names) : near);
}

// What nothing of the command line takes, in its order.
std::vector<std::string> Unexpected(const CLI::App& app) {
  std::vector<std::string> left = app.remaining(true);
  std::erase(left, "--");
  return left;
}

std::string Explain(const CLI::App& app, const CLI::App* subcommand, const CLI::ParseError& error) {
  const std::vector<std::string> left = Unexpected(app);
  if (subcommand == nullptr && !left.empty() && !left.front().starts_with('-')) {
    return ExplainSubcommand(app, left.front());
  }
  const auto option = std::ranges::find_if(left, [](const std::string& argument) {
    return argument.size() > 1 && argument.starts_with('-');
  });
  if (option != left.end()) return ExplainOption(app, subcommand, *option);
  if (subcommand == nullptr) return "a subcommand is needed: " + ListOf(SubcommandNames(app));
  if (!left.empty())
    return subcommand->get_name() + ": unexpected argument \"" + left.front() + '"';
  return subcommand->get_name() + ": " + error.what();
}

}  // namespace

std::string DidYouMean(std::string_view word, const std::vector<std::string>& names) {
  constexpr std::size_t MIN_BEGINNING = 3;
  constexpr std::size_t MIN_LETTERS = 2;
  const std::string folded = text::AsciiLower(word);
  const std::size_t letters =
      folded.size() - std::min(folded.find_first_not_of('-'), folded.size());
  if (letters < MIN_LETTERS) return {};
  std::optional<std::string> nearest;
  std::size_t fewest = std::max<std::size_t>(1, letters / 3) + 1;
  for (const std::string& name : names) {
    const bool isBeginning = letters >= MIN_BEGINNING && name.starts_with(folded);
    const std::size_t changes = isBeginning ? 0 : CountChanges(folded, name);
    if (changes >= fewest) continue;
    fewest = changes;
    nearest = name;
  }
  return nearest ? "; did you mean " + *nearest + '?' : std::string();
}

UsageError ExplainUsage(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  const CLI::App* const subcommand = chosen.empty() ? nullptr : chosen.front();
  const std::string name = subcommand != nullptr ? ' ' + subcommand->get_name() : std::string();
  return UsageError(Explain(app, subcommand, error) + "\nSee nimport" + name + " --help");
}

}  // namespace nimport::command
