// nimport: the command line tool.
#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "command/commands.h"
#include "command/json_text.h"
#include "command/options.h"
#include "command/store_location.h"
#include "platform/interruption.h"
#include "platform/terminal.h"
#include "store/problem.h"
#include "text/visible.h"

namespace {

using namespace nimport;
using namespace nimport::command;

// Standard output, and whether anything went there.
class WatchedOutput final : public std::streambuf {
 public:
  WatchedOutput() : output_(*std::cout.rdbuf(this)) {}
  ~WatchedOutput() override { std::cout.rdbuf(&output_); }
  WatchedOutput(const WatchedOutput&) = delete;
  WatchedOutput& operator=(const WatchedOutput&) = delete;

  [[nodiscard]] bool IsEmpty() const { return isEmpty_; }

 protected:
  int_type overflow(int_type byte) override {
    isEmpty_ = false;
    return output_.sputc(traits_type::to_char_type(byte));
  }
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    isEmpty_ = false;
    return output_.sputn(bytes, count);
  }
  int sync() override { return output_.pubsync(); }

 private:
  std::streambuf& output_;
  bool isEmpty_ = true;
};

int RunOnStore(const Options& options) {
  StorePlatform platform(options.location);
  switch (options.subcommand) {
    case Subcommand::Find:
      break;
    case Subcommand::Check:
      return RunCheck(platform, options);
    case Subcommand::Tree:
      return RunTree(platform, options);
    case Subcommand::List:
      return RunList(platform, options);
    case Subcommand::Show:
      return RunShow(platform, options);
    case Subcommand::Export:
      return RunExport(platform, options);
    case Subcommand::Contacts:
      return RunContacts(platform, options);
  }
  return EXIT_CANNOT_RUN;
}

// Says why there is no answer. Whoever asked for JSON gets an answer all the same, unless one has
// begun.
void PutError(std::string_view reason, bool isJson, const WatchedOutput& output) {
  std::cerr << "nimport: " << text::VisibleLines(reason) << '\n';
  if (isJson && output.IsEmpty()) std::cout << ToText({{"error", reason}}) << std::flush;
}

int Run(const Options& options, const WatchedOutput& output) {
  const platform::Interruption interruption(EXIT_SOME_FAILED);
  const platform::Interruption::Report report([&] {
    // An early end is reported elsewhere.
    if (options.isJson && output.IsEmpty()) std::cout << ToText({{"error", "interrupted"}});
  });
  return options.subcommand == Subcommand::Find ? RunFind(options) : RunOnStore(options);
}

int RunArguments(const std::vector<std::string>& arguments, const WatchedOutput& output) {
  bool isJson = std::ranges::find(arguments, "--json") != arguments.end();
  try {
    const std::optional<Options> options = ParseOptions(arguments);
    if (options) isJson = options->isJson;
    const int exitCode = options ? Run(*options, output) : EXIT_ALL_DONE;
    if (std::cout.flush()) return exitCode;
    // A reader that has seen enough needs no message.
    if (!platform::HasOutputNoReader()) std::cerr << "nimport: the answer cannot be written\n";
    return EXIT_CANNOT_RUN;
  } catch (const store::Interrupted&) {
    PutError("interrupted", isJson, output);
    return EXIT_SOME_FAILED;
  } catch (const std::bad_alloc&) {
    PutError("out of memory", isJson, output);
    return EXIT_CANNOT_RUN;
  } catch (const std::exception& error) {
    PutError(error.what(), isJson, output);
    return EXIT_CANNOT_RUN;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const platform::StandardStreams streams;
  const WatchedOutput output;
  return RunArguments(platform::ReadArguments(argc, argv), output);
}
