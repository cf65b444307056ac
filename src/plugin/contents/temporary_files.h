#ifndef NIMPORT_PLUGIN_CONTENTS_TEMPORARY_FILES_H_
#define NIMPORT_PLUGIN_CONTENTS_TEMPORARY_FILES_H_

#include <string>
#include <string_view>

#include "nimport/nimport.h"
#include "plugin/contents/temporary_names.h"
#include "plugin/mails/mail_store.h"

namespace nimport::plugin {

// What the writers of temporary files work on: a session's mails and its temporary names.
struct Extraction {
  MailStore& store;
  TemporaryNames& names;
};

enum class EmptyContents { AreWritten, AreIncomplete };

// How a temporary file is written.
struct TemporaryFileOptions {
  ExtensionRequest extension;
  // The code of the Failure when the contents cannot be written completely.
  ResultCode incompleteCode = RESULT_DATABASE;
  EmptyContents emptyContents = EmptyContents::AreWritten;
};

// Writes `contents` to the next temporary file and returns its path in Windows form. Throws
// Failure: the code of MakeTempName; -2 when the file cannot be opened; options.incompleteCode. A
// file that was begun stays, and its path stays remembered.
[[nodiscard]] std::string WriteTemporaryFile(Extraction& extraction, std::string_view contents,
                                             const TemporaryFileOptions& options);

// Names whose directory is made by `files`, which outlives them. Where it cannot be made, the call
// that needs it fails with -2, as for a file that cannot be opened.
[[nodiscard]] TemporaryNames MakeTemporaryNames(platform::FileSystem& files);

// Deletes every file that was handed out, in the order of last use, and their directory if nothing
// else is in it. Cannot fail.
void RemoveTemporaryFiles(const TemporaryNames& names, platform::FileSystem& files) noexcept;

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_TEMPORARY_FILES_H_
