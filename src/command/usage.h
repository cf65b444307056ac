// What is wrong with a command line, said in its own words.
#ifndef NIMPORT_COMMAND_USAGE_H_
#define NIMPORT_COMMAND_USAGE_H_

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace nimport::command {

// The arguments ask for nothing that can be done. The text says why, UTF-8, and what helps.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What `error`, which parsing the arguments with `app` ended with, means to the user.
[[nodiscard]] UsageError ExplainUsage(const CLI::App& app, const CLI::ParseError& error);

// "; did you mean NAME?" with the one of `names` that `word` is nearest to: the same but for a
// letter in three, or its beginning. Empty when none is near.
[[nodiscard]] std::string DidYouMean(std::string_view word, const std::vector<std::string>& names);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_USAGE_H_
