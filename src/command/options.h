// What the user asked for.
#ifndef NIMPORT_COMMAND_OPTIONS_H_
#define NIMPORT_COMMAND_OPTIONS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "archive/exporter.h"
#include "archive/folder_writer.h"
#include "command/store_location.h"

namespace nimport::command {

enum class Subcommand { Check, Tree, List, Show, Export, Contacts };

enum class ContactForm { VCard4, VCard3, Csv, Ldif };

struct Options {
  Subcommand subcommand = Subcommand::Check;

  // Common to all.
  StoreLocation location;
  bool isJson = false;

  // check
  bool isDeep = false;
  // list, show: a folder by name ("Cabinet/Folder") or index; empty: all of them.
  std::string folder;
  // show
  std::int32_t mail = 0;
  bool isSource = false;
  // export
  std::filesystem::path targetDirectory;
  archive::ArchiveForm form;
  bool hasIndexMark = false;
  archive::ExportOptions exporting;
  bool isQuiet = false;
  int jobs = 1;  // threads that read mails
  // contacts
  ContactForm contactForm = ContactForm::VCard4;
  bool isForExcel = false;
};

// Exit codes of the program.
inline constexpr int EXIT_ALL_DONE = 0;
inline constexpr int EXIT_SOME_FAILED = 1;
inline constexpr int EXIT_CANNOT_RUN = 2;

// What the arguments ask for. Empty when there is nothing to run: help was printed, or what is
// wrong with the arguments; then `exitCode` says how to end.
[[nodiscard]] std::optional<Options> ParseOptions(int argc, const char* const* argv, int& exitCode);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_OPTIONS_H_
