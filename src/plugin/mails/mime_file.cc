#include "plugin/mails/mime_file.h"

#include <new>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "store/mails/mail_text.h"
#include "store/mails/stored_file.h"
#include "text/fixed_text.h"

namespace nimport::plugin {
namespace {

std::optional<std::uint64_t> FindChangeStamp(const platform::FileSystem& files,
                                             const platform::StoredPath& path) {
  try {
    return files.FindStoredChangeStamp(path);
  } catch (const FileMissing& error) {
    FailInvalid("no MIME file " + error.description());
  }
}

}  // namespace

MimeFile::MimeFile(MailStore& store, const MailRow& row)
    : store_(store),
      path_(
          store::MimeFilePath(store.databaseDir, platform::ReadText(*row.recordset, "FileLink"))) {
  // Taken before the file is read: what changes meanwhile is noticed by the next call.
  const std::optional<std::uint64_t> stamp = FindChangeStamp(store_.platform.files(), path_);
  RememberedMimeFile& known = store_.mimeFile;
  if (stamp && known.changeStamp == stamp && known.path == path_.path) return;
  known = RememberedMimeFile();
  known.path = path_.path;
  known.changeStamp = stamp;
}

MimeFile::~MimeFile() {
  ForgetLongText();
}

bool MimeFile::IsTooLongToRemember() const {
  const std::optional<std::string>& text = store_.mimeFile.text;
  return text && text->capacity() > MAX_REMEMBERED_TEXT;
}

void MimeFile::ForgetLongText() {
  if (IsTooLongToRemember()) store_.mimeFile.text.reset();
}

std::string MimeFile::Read() const {
  platform::FileSystem& files = store_.platform.files();
  try {
    return store::NormalizeLineEnds(platform::ReadWholeFile(*files.OpenStored(path_)));
  } catch (const FileError& error) {
    FailDatabase(error.what());
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory for the MIME file " + files.NativeName(path_.path));
  }
}

const std::string& MimeFile::Text() {
  std::optional<std::string>& text = store_.mimeFile.text;
  if (!text) text = Read();
  return *text;
}

std::string MimeFile::TakeText() {
  static_cast<void>(Text());
  std::optional<std::string>& text = store_.mimeFile.text;
  if (!IsTooLongToRemember()) return *text;
  std::string taken = *std::move(text);
  text.reset();
  return taken;
}

std::int32_t MimeFile::Parse() {
  RememberedMimeFile& known = store_.mimeFile;
  if (known.isParsed) return MIME_SUCCESS;
  const std::int32_t result = store_.mime.Parse(Text());
  known.isParsed = result == MIME_SUCCESS;
  return result;
}

void MimeFile::RequireParsed() {
  if (Parse() != MIME_SUCCESS) FailInvalid("the MIME library cannot parse the mail");
  ForgetLongText();
}

}  // namespace nimport::plugin
