// jetdump: prints a Jet database as JSON.
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "jet/database.h"
#include "jetdump/json_dump.h"
#include "platform/native_file.h"
#include "platform/platform.h"
#include "platform/terminal.h"
#include "text/code_page_converter.h"
#include "text/visible.h"

namespace {

using namespace nimport;

constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

struct CommandLine {
  std::string file;
  std::vector<std::string> tables;
  std::vector<std::string> queries;
  bool schemaOnly = false;
};

void AddOptions(CLI::App& app, CommandLine& line) {
  app.description(
      "Prints the tables and stored queries of a Jet database (.mdb, Access 97 to 2003) as JSON.\n"
      "The file is only read.");
  app.add_option("FILE", line.file, "The database file")->required();
  app.add_option("--table", line.tables, "Print this table only; may be repeated");
  app.add_option("--query", line.queries, "Print this stored query only; may be repeated");
  app.add_flag("--schema", line.schemaOnly, "Print columns and numbers of rows, but no rows");
  app.footer(
      "Example: jetdump --table DataTBL Cabdata.mdb\n"
      "Exit code: 0 all was printed, 1 a table could not be read, 2 wrong usage.");
}

std::unique_ptr<jet::Database> Open(const std::string& file) {
  return jet::Database::Open(platform::OpenNativeFile(file), platform::SystemPlatform().text(),
                             {.textCodePage = text::CODE_PAGE_UTF8});
}

bool Print(const CommandLine& line) {
  const auto database = Open(line.file);
  jetdump::DumpOptions options{
      .tables = line.tables, .queries = line.queries, .withRows = !line.schemaOnly};
  if (options.tables.empty() && options.queries.empty()) {
    options.tables = database->TableNames();
    options.queries = database->QueryNames();
    options.withLinks = !database->LinkedTables().empty();
  }
  const bool isWhole = jetdump::DumpDatabase(*database, options, std::cout, std::cerr);
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("the output could not be written");
  return isWhole;
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  const platform::StandardStreams streams;
  const std::vector<std::string> arguments = platform::ReadArguments(argc, argv);
  CLI::App app;
  CommandLine line;
  AddOptions(app, line);
  try {
    // Without the program, last one first.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend() - 1));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : EXIT_USAGE;
  }
  try {
    return Print(line) ? 0 : EXIT_FAILED;
  } catch (const std::exception& error) {
    std::cerr << "jetdump: " << text::Visible(error.what()) << '\n';
    return EXIT_FAILED;
  }
}
