#include "mailstore/mime_file.h"

#include <new>
#include <optional>

#include "common/failure.h"
#include "common/fixed_text.h"
#include "mailstore/mail_text.h"
#include "platform/columns.h"

namespace nimport::mailstore {
namespace {

constexpr char MIME_DIRECTORY[] = "\\Mime\\";

// The path of the row's MIME file.
std::string MimePath(const MailStore& store, const MailRow& row) {
  const std::optional<std::string> link = platform::ReadText(*row.recordset, "FileLink");
  if (!link) FailInvalid("the mail names no MIME file");
  if (!NameText::Fit(*link)) FailInvalid("the name of the MIME file is too long");
  const auto path = PathText::Fit(store.databaseDir.str() + MIME_DIRECTORY + *link);
  if (!path) FailInvalid("the path of the MIME file is too long");
  return path->str();
}

}  // namespace

std::string ReadMimeFile(MailStore& store, const MailRow& row) {
  const std::string path = MimePath(store, row);
  platform::FileSystem& files = store.platform.files();
  if (!files.Exists(path)) FailInvalid("no MIME file " + files.NativeName(path));
  try {
    return NormalizeLineEnds(platform::ReadWholeFile(*files.OpenForReading(path)));
  } catch (const FileError& error) {
    FailDatabase(error.what());
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory for the MIME file " + files.NativeName(path));
  }
}

void RequireParsedMimeFile(MailStore& store, const MailRow& row) {
  if (store.mime.Parse(ReadMimeFile(store, row)) != mime::MIME_SUCCESS) {
    FailInvalid("the MIME library cannot parse the mail");
  }
}

}  // namespace nimport::mailstore
