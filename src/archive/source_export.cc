#include "archive/source_export.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "archive/compose_mail.h"
#include "archive/further_columns.h"
#include "archive/mail_traits.h"
#include "platform/interruption.h"

namespace nimport::archive {

using platform::Interruption;

namespace {

// In a smaller folder, other sessions would take longer to begin than they save.
constexpr std::size_t MIN_THREADED_MAILS = 32;

constexpr const char* NOTHING_HELD = "the store holds neither headers nor contents of this mail";

}  // namespace

SourceExport::SourceExport(const MailSource& source, store::Store& store,
                           const ExportChoice& choice, ExportProgress& progress, std::string path,
                           IndexSink* index)
    : source_(source), store_(store), choice_(choice), progress_(progress), index_(index) {
  account_.folders.push_back(
      {.name = source.Name(), .path = std::move(path), .counts = {}, .kind = source.kind()});
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
  failure_ = reason;
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
    // They have ended before what fails here is looked at.
    const std::unique_ptr<MailThreads> threads = BeginThreads(*open);
    for (std::int32_t position = 0; position < mailCount; ++position) {
      if (Interruption::IsRequested()) break;
      ReadMail mail;
      {
        const Interruption::Pause pause;
        mail = threads ? threads->Take() : Read(store_, *open, position);
      }
      ExportMail(std::move(mail), position, writer);
      progress_.Step(position + 1);
    }
    progress_.Begin(Activity::Flushing, folder().name);
    writer.Finish();
  } catch (const store::Interrupted&) {
    writer.Finish();
  } catch (...) {
    writer.GiveUp();
    lost_ = writer.waiting();
    folder().counts.written -= lost_;
    throw;
  }
}

std::unique_ptr<SourceExport::MailThreads> SourceExport::BeginThreads(const OpenSource& open) {
  if (sessions_.empty() || open.mailCount() < MIN_THREADED_MAILS) return nullptr;
  // Damage that lies on the way to the list of mails is the first mail's, whoever reads that.
  const auto atBegin = std::make_shared<std::vector<store::Problem>>(store_.TakeLosses());
  const auto read = [this, atBegin](store::Store& store, const OpenSource& mails,
                                    std::size_t position) {
    ReadMail mail = Read(store, mails, static_cast<std::int32_t>(position));
    if (position == 0) mail.losses.insert(mail.losses.begin(), atBegin->begin(), atBegin->end());
    return mail;
  };
  std::vector<MailThreads::Begin> begins = {[this, read, &open]() -> MailThreads::Make {
    return [this, read, &open](std::size_t position) { return read(store_, open, position); };
  }};
  for (store::Store* const session : sessions_) {
    begins.emplace_back([this, read, session]() -> MailThreads::Make {
      const std::shared_ptr<OpenSource> mails = source_.Open(*session);
      static_cast<void>(session->TakeLosses());
      return
          [read, session, mails](std::size_t position) { return read(*session, *mails, position); };
    });
  }
  return std::make_unique<MailThreads>(open.mailCount(), begins, [](const ReadMail& mail) {
    return mail.finished ? mail.finished->bytes.size() : std::size_t{0};
  });
}

ReadMail SourceExport::Read(store::Store& store, const OpenSource& open,
                            std::int32_t position) const {
  ReadMail mail;
  if (const auto entry = open.FindEntry(static_cast<std::size_t>(position))) {
    mail.row.number = entry->dataNo;
    mail.row.kind = entry->dataType;
  }
  try {
    SourceMail found = open.Read(static_cast<std::size_t>(position));
    if (index_ != nullptr) {
      mail.row.file = found.record.fileLink.value.value_or("");
      mail.row.columns = ColumnsToJson(found.record.furtherColumns);
    }
    try {
      mail.contents = open.ReadContents(found);
    } catch (const store::Error& error) {
      mail.failure = error.reason();
    }
    mail.headers = ReadHeaders(store, found.record, mail.contents ? &*mail.contents : nullptr);
    std::ranges::move(found.furtherFields, std::back_inserter(mail.headers.furtherFields));
    Compose(store, mail);
  } catch (const store::Error& error) {
    mail.failure = error.reason();
  }
  mail.losses = store.TakeLosses();
  return mail;
}

void SourceExport::Compose(const store::Store& store, ReadMail& mail) const {
  if (!mail.contents || !choice_.HasDayOf(mail.headers)) return;
  MailContents& contents = *mail.contents;
  if (mail.headers.IsEmpty() && contents.bytes.empty()) return;
  if (contents.kind == ContentsKind::StoredFile && contents.missing.empty()) {
    mail.row.attachments = {{.name = contents.fileName, .sizeBytes = contents.bytes.size()}};
  }
  mail.row.reason = contents.missing;
  mail.finished = ComposeMail(mail.headers, contents, store.memberId());
  if (contents.HasOwnHeader()) {
    MailTraits traits = FindTraits(mail.finished->bytes);
    mail.finished->isGarbled = traits.isGarbled;
    mail.row.attachments = std::move(traits.attachments);
  }
  contents.bytes = {};
}

void SourceExport::ExportMail(ReadMail mail, std::int32_t position, FolderWriter& writer) {
  if (!mail.contents) {
    ++folder().counts.failed;
    mail.row.status = RowStatus::Failed;
    mail.row.reason = mail.failure;
    account_.failures.push_back(RemarkOn(position, mail.headers, mail.failure));
  } else if (!choice_.HasDayOf(mail.headers)) {
    ++folder().counts.notChosen;
    mail.row.status = RowStatus::NotChosen;
  } else if (!mail.finished) {
    ++folder().counts.skipped;
    mail.row.status = RowStatus::Skipped;
    mail.row.reason = NOTHING_HELD;
    account_.skipped.push_back(RemarkOn(position, mail.headers, NOTHING_HELD));
  } else {
    WriteMail(mail, position, writer);
    AddNotes(mail.headers, *mail.contents, position);
  }
  if (index_ != nullptr) Register(mail, position);
  if (!mail.losses.empty()) account_.AddLosses(RemarkOn(position, mail.headers, {}), mail.losses);
}

void SourceExport::WriteMail(ReadMail& mail, std::int32_t position, FolderWriter& writer) {
  if (mail.finished->isGarbled) ++folder().counts.garbled;
  if (mail.finished->isSenderUndisclosed) ++account_.undisclosed;
  const auto outcome =
      writer.Write(std::move(*mail.finished), position, mail.headers.subject.value_or(""));
  MailCounts& counts = folder().counts;
  using Outcome = FolderWriter::Outcome;
  const bool isWritten = outcome == Outcome::Written || outcome == Outcome::Rewritten;
  ++(isWritten ? counts.written : counts.alreadyThere);
  if (outcome == Outcome::Outdated) ++counts.wouldChange;
  if (outcome == Outcome::Rewritten) ++counts.rewritten;
  const bool isRecovered = source_.kind() == SourceKind::Deleted;
  const RowStatus status = isRecovered ? RowStatus::Recovered : RowStatus::Written;
  mail.row.status = isWritten ? status : RowStatus::AlreadyThere;
  mail.row.path = writer.place().path;
  mail.row.key = writer.place().key;
}

void SourceExport::Register(ReadMail& mail, std::int32_t position) const {
  mail.row.cabinet = source_.cabinet();
  mail.row.folder = source_.folder();
  mail.row.position = position;
  mail.row.headers = &mail.headers;
  index_->Add(mail.row);
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
