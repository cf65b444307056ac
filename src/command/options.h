// What the user asked for.
#ifndef NIMPORT_COMMAND_OPTIONS_H_
#define NIMPORT_COMMAND_OPTIONS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "archive/exporter.h"
#include "archive/folder_writer.h"
#include "command/store_location.h"

namespace nimport::command {

enum class Subcommand { Find, Check, Tree, List, Show, Export, Contacts };

enum class ContactForm { VCard4, VCard3, Csv, Ldif };

struct Options {
  Subcommand subcommand = Subcommand::Check;

  // Common to all.
  StoreLocation location;
  bool isJson = false;

  // find
  std::vector<std::filesystem::path> searchedDirectories;
  // check
  bool isDeep = false;
  // list, export: mails that were deleted; `list` shows them alone, `export` writes them too.
  bool isDeleted = false;
  // list, show: a folder by name ("Cabinet/Folder") or index; empty: all of them.
  std::string folder;
  // show
  std::int32_t mail = 0;
  bool isSource = false;
  std::filesystem::path saveDirectory;  // empty: nothing is saved
  // export
  std::filesystem::path targetDirectory;
  bool isRedo = false;  // mails that an earlier run wrote otherwise are written again
  bool isReadable = false;
  std::filesystem::path readableDirectory;  // empty: readable mails go to the target directory
  archive::ArchiveForm form;
  bool hasIndexMark = false;
  bool isAdded = false;  // to another store's export
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

// What the arguments ask for. Empty when there is nothing to run, since help was printed. Throws
// UsageError.
[[nodiscard]] std::optional<Options> ParseOptions(const std::vector<std::string>& arguments);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_OPTIONS_H_
