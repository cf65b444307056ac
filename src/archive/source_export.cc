#include "archive/source_export.h"

#include <utility>
#include <vector>

#include "archive/compose_mail.h"
#include "archive/readable/readable_mail.h"
#include "platform/interruption.h"

namespace nimport::archive {

using platform::Interruption;

SourceExport::SourceExport(const MailSource& source, store::Store& store, ExportProgress& progress,
                           std::string path)
    : source_(source), store_(store), progress_(progress) {
  account_.folders.push_back({.name = source.Name(), .path = std::move(path), .counts = {}});
}

void SourceExport::Run(FolderWriter& writer) {
  writer_ = &writer;
  try {
    WriteMails(writer);
  } catch (const store::Error& error) {
    Fail(error.reason());
  } catch (...) {
    writer_ = nullptr;
    throw;
  }
  writer_ = nullptr;
  account_.AddLosses(archive::RemarkOn(source_.Name(), {}), store_.TakeLosses());
}

void SourceExport::Fail(const std::string& reason) {
  account_.failures.push_back(archive::RemarkOn(source_.Name(), reason));
}

Account SourceExport::InterruptedAccount() const {
  Account account = account_;
  if (writer_ != nullptr) account.folders.front().counts.written -= writer_->waiting();
  return account;
}

void SourceExport::WriteMails(FolderWriter& writer) {
  progress_.Begin(Activity::ListingFolder, folder().name);
  std::unique_ptr<OpenSource> open;
  {
    const Interruption::Pause pause;
    open = source_.Open(store_);
  }
  const auto mailCount = static_cast<std::int32_t>(open->mailCount());
  folder().counts.found = mailCount;
  mailCount_ = mailCount;
  writer.Expect(open->mailCount());
  progress_.BeginFolder(folder().name, mailCount);
  try {
    for (std::int32_t position = 0; position < mailCount; ++position) {
      if (Interruption::IsRequested()) break;
      ExportMail(*open, position, writer);
      progress_.Step(position + 1);
    }
    progress_.Begin(Activity::Flushing, folder().name);
    writer.Finish();
  } catch (const store::Interrupted&) {
    writer.Finish();
  } catch (...) {
    writer.GiveUp();
    folder().counts.written -= writer.waiting();
    throw;
  }
}

ReadMail SourceExport::Read(const OpenSource& open, std::int32_t position) const {
  const Interruption::Pause pause;
  ReadMail mail;
  try {
    SourceMail found = open.Read(static_cast<std::size_t>(position));
    try {
      mail.contents = open.ReadContents(found);
    } catch (const store::Error& error) {
      mail.failure = error.reason();
    }
    mail.headers = ReadHeaders(store_, found.record, mail.contents ? &*mail.contents : nullptr);
    mail.headers.furtherFields = std::move(found.furtherFields);
  } catch (const store::Error& error) {
    mail.failure = error.reason();
  }
  return mail;
}

void SourceExport::ExportMail(const OpenSource& open, std::int32_t position, FolderWriter& writer) {
  ReadMail mail = Read(open, position);
  if (!mail.contents) {
    ++folder().counts.failed;
    account_.failures.push_back(RemarkOn(position, mail.headers, mail.failure));
  } else if (mail.headers.IsEmpty() && mail.contents->bytes.empty()) {
    ++folder().counts.skipped;
    account_.skipped.push_back(RemarkOn(
        position, mail.headers, "the store holds neither headers nor contents of this mail"));
  } else {
    WriteMail(mail.headers, *mail.contents, position, writer);
    AddNotes(mail.headers, *mail.contents, position);
  }
  const std::vector<store::Problem> losses = store_.TakeLosses();
  if (!losses.empty()) account_.AddLosses(RemarkOn(position, mail.headers, {}), losses);
}

void SourceExport::WriteMail(const MailHeaders& headers, MailContents& contents,
                             std::int32_t position, FolderWriter& writer) {
  FinishedMail mail = ComposeMail(headers, contents, store_.memberId());
  mail.isGarbled = contents.HasOwnHeader() && IsShownGarbled(mail.bytes);
  if (mail.isGarbled) ++folder().counts.garbled;
  if (mail.isSenderUndisclosed) ++account_.undisclosed;
  const auto outcome = writer.Write(std::move(mail), position, headers.subject.value_or(""));
  MailCounts& counts = folder().counts;
  using Outcome = FolderWriter::Outcome;
  const bool isWritten = outcome == Outcome::Written || outcome == Outcome::Rewritten;
  ++(isWritten ? counts.written : counts.alreadyThere);
  if (outcome == Outcome::Outdated) ++counts.wouldChange;
  if (outcome == Outcome::Rewritten) ++counts.rewritten;
}

void SourceExport::AddNotes(const MailHeaders& headers, const MailContents& contents,
                            std::int32_t position) {
  if (!contents.missing.empty()) {
    account_.incomplete.push_back(RemarkOn(position, headers, contents.missing));
  }
  if (contents.HasOwnHeader()) return;
  for (const std::string& problem : headers.problems)
    account_.notes.push_back(RemarkOn(position, headers, problem));
}

Remark SourceExport::RemarkOn(std::int32_t position, const MailHeaders& headers,
                              const std::string& reason) const {
  Remark remark = archive::RemarkOn(source_.Name(), reason);
  remark.position = position;
  remark.subject = headers.subject.value_or("");
  remark.from = headers.from.value_or("");
  remark.to = headers.to.value_or("");
  remark.date = headers.DateText().value_or("");
  return remark;
}

}  // namespace nimport::archive
