#include "archive/account.h"

#include <ostream>
#include <utility>

#include <nlohmann/json.hpp>

#include "archive/deleted_source.h"
#include "text/visible.h"

namespace nimport::archive {

namespace {

using nlohmann::ordered_json;

void AddCounts(ordered_json& json, const MailCounts& counts) {
  json["found"] = counts.found;
  json["written"] = counts.written;
  json["rewritten"] = counts.rewritten;
  json["alreadyThere"] = counts.alreadyThere;
  json["wouldChange"] = counts.wouldChange;
  json["skipped"] = counts.skipped;
  json["failed"] = counts.failed;
  json["garbled"] = counts.garbled;
  if (counts.notChosen > 0) json["notChosen"] = counts.notChosen;
}

ordered_json RowsToJson(const RowCounts& rows) {
  ordered_json json = {
      {"found", rows.found},     {"written", rows.written}, {"alreadyThere", rows.alreadyThere},
      {"skipped", rows.skipped}, {"failed", rows.failed},   {"notListed", rows.notListed}};
  if (rows.notChosen > 0) json["notChosen"] = rows.notChosen;
  return json;
}

// Nothing for folders of the store.
const char* NameOf(SourceKind kind) {
  switch (kind) {
    case SourceKind::Listed:
      return nullptr;
    case SourceKind::Repeated:
      return "listed again";
    case SourceKind::NotListed:
      return "not listed";
    case SourceKind::NoMail:
      return "no mail";
    case SourceKind::Deleted:
      return "deleted";
  }
  return nullptr;
}

ordered_json ToJson(const Remark& remark) {
  ordered_json json = {{"folder", remark.folder}};
  if (remark.position) json["position"] = *remark.position;
  const auto add = [&](const char* name, const std::string& text) {
    if (!text.empty()) json[name] = text;
  };
  add("subject", remark.subject);
  add("from", remark.from);
  add("to", remark.to);
  add("date", remark.date);
  json["reason"] = remark.reason;
  return json;
}

ordered_json RemarksToJson(const std::vector<Remark>& remarks) {
  ordered_json json = ordered_json::array();
  for (const Remark& remark : remarks)
    json.push_back(ToJson(remark));
  return json;
}

void PrintRemarks(std::ostream& out, const char* title, const std::vector<Remark>& remarks) {
  if (remarks.empty()) return;
  out << title << ":\n";
  for (const Remark& remark : remarks) {
    out << "  " << text::Visible(remark.folder);
    if (remark.position) out << ", " << *remark.position;
    if (!remark.subject.empty()) out << " \"" << text::Visible(remark.subject) << '"';
    out << ": " << text::Visible(remark.reason) << '\n';
  }
}

void PrintGarbled(std::ostream& out, std::int64_t garbled, bool isReadable) {
  if (garbled == 0) return;
  out << "garbled: " << garbled << (garbled == 1 ? " mail" : " mails")
      << " would be shown garbled by today's programs: "
      << (isReadable ? "they have a readable form" : "export them with --readable") << '\n';
}

}  // namespace

Remark RemarkOn(std::string place, std::string reason) {
  Remark remark;
  remark.folder = std::move(place);
  remark.reason = std::move(reason);
  return remark;
}

void Account::AddLosses(const Remark& place, const std::vector<store::Problem>& problems) {
  for (const store::Problem& problem : problems) {
    std::string reason = problem.Describe();
    if (!knownLosses_.insert(reason).second) continue;
    losses_.push_back(place);
    losses_.back().reason = std::move(reason);
  }
}

void Account::Append(const Account& more) {
  const auto append = [](auto& list, const auto& added) {
    list.insert(list.end(), added.begin(), added.end());
  };
  append(folders, more.folders);
  append(failures, more.failures);
  append(incomplete, more.incomplete);
  append(skipped, more.skipped);
  append(notes, more.notes);
  append(unlisted, more.unlisted);
  append(leftOut, more.leftOut);
  undisclosed += more.undisclosed;
  if (more.deleted) deleted = more.deleted;
  for (const Remark& loss : more.losses_) {
    if (knownLosses_.insert(loss.reason).second) losses_.push_back(loss);
  }
}

MailCounts Account::Total() const {
  MailCounts total;
  for (const FolderAccount& folder : folders) {
    total.found += folder.counts.found;
    total.written += folder.counts.written;
    total.rewritten += folder.counts.rewritten;
    total.alreadyThere += folder.counts.alreadyThere;
    total.wouldChange += folder.counts.wouldChange;
    total.skipped += folder.counts.skipped;
    total.failed += folder.counts.failed;
    total.garbled += folder.counts.garbled;
    total.notChosen += folder.counts.notChosen;
  }
  return total;
}

bool Account::HasLosses() const {
  return !failures.empty() || !incomplete.empty() || !unlisted.empty() || !losses_.empty() ||
         !abortReason.empty();
}

ordered_json Account::ToJson() const {
  ordered_json json;
  AddCounts(json, Total());
  if (rows) json["rows"] = RowsToJson(*rows);
  if (contacts > 0) json["contacts"] = {{"path", contactsFile}, {"written", contacts}};
  json["undisclosedSenders"] = undisclosed;
  json["readable"] = isReadable;
  if (deleted) json["deleted"] = archive::ToJson(*deleted);
  json["interrupted"] = isInterrupted;
  if (isDryRun) json["dryRun"] = true;
  if (!abortReason.empty()) json["error"] = abortReason;
  json["folders"] = ordered_json::array();
  for (const FolderAccount& folder : folders) {
    ordered_json entry = {{"folder", folder.name}, {"path", folder.path}};
    if (const char* kind = NameOf(folder.kind)) entry["kind"] = kind;
    AddCounts(entry, folder.counts);
    json["folders"].push_back(std::move(entry));
  }
  json["failures"] = RemarksToJson(failures);
  json["incomplete"] = RemarksToJson(incomplete);
  json["skippedMails"] = RemarksToJson(skipped);
  json["notes"] = RemarksToJson(notes);
  json["unlisted"] = RemarksToJson(unlisted);
  json["leftOut"] = RemarksToJson(leftOut);
  json["losses"] = RemarksToJson(losses_);
  return json;
}

void Account::Print(std::ostream& out) const {
  PrintRemarks(out, "failed", failures);
  PrintRemarks(out, "exported without their file", incomplete);
  PrintRemarks(out, "skipped", skipped);
  PrintRemarks(out, "exported without a header", notes);
  PrintRemarks(out, "in no folder, not exported", unlisted);
  PrintRemarks(out, "left out", leftOut);
  PrintRemarks(out, "damage in the store that was stepped over", losses_);
  if (deleted) out << Describe(*deleted) << '\n';
  if (contacts > 0) out << contacts << " contacts written to " << contactsFile << '\n';
  const MailCounts total = Total();
  out << total.found << " mails found: " << total.written << " written, " << total.alreadyThere
      << " already there, " << total.skipped << " skipped, " << total.failed << " failed";
  if (total.notChosen > 0) out << ", " << total.notChosen << " of other days";
  out << '\n';
  if (rows) {
    out << rows->found << " rows in the list of mails: " << rows->written << " written, "
        << rows->alreadyThere << " already there, " << rows->skipped << " skipped, " << rows->failed
        << " failed, " << rows->notListed << " not listed";
    if (rows->notChosen > 0) out << ", " << rows->notChosen << " of other days";
    out << '\n';
  }
  if (total.rewritten > 0) out << total.rewritten << " of them written again\n";
  if (total.wouldChange > 0)
    out << "would change: " << total.wouldChange << " (--redo writes them again)\n";
  if (undisclosed > 0) {
    out << "mails of the owner without a sender, since the member ID is not known: " << undisclosed
        << '\n';
  }
  PrintGarbled(out, total.garbled, isReadable);
  if (!incomplete.empty()) out << "mails that lack their file: " << incomplete.size() << '\n';
  if (isDryRun) out << "a dry run: nothing of this was written\n";
  if (isInterrupted) out << "interrupted: run the same command again to go on\n";
}

}  // namespace nimport::archive
