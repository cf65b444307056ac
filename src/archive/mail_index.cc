#include "archive/mail_index.h"

#include <array>
#include <list>
#include <utility>

#include "archive/contacts/csv.h"
#include "archive/json_text.h"
#include "common/utf8_path.h"
#include "text/utf8.h"
#include "text/visible.h"

namespace nimport::archive {

namespace {

// How many mails apart the places are to which the index can be cut back.
constexpr std::int64_t MARK_MAILS = 64;

std::string ToText(const std::optional<std::int32_t>& number) {
  return number ? std::to_string(*number) : std::string();
}

// The headers as the index has them: views of what the row refers to.
struct Headers {
  std::string date;
  std::string_view from;
  std::string_view to;
  std::string_view cc;
  std::string_view subject;

  explicit Headers(const MailHeaders* headers) {
    if (headers == nullptr) return;
    const auto view = [](const std::optional<std::string>& text) {
      return text ? std::string_view(*text) : std::string_view();
    };
    date = headers->DateText().value_or("");
    from = view(headers->from);
    to = view(headers->to);
    cc = view(headers->cc);
    subject = view(headers->subject);
  }
};

// One line per row, whatever the texts hold, and harmless to a terminal.
std::string CsvLine(const IndexRow& row, const Headers& headers, const std::string& path) {
  std::string names;
  std::string sizes;
  for (const Attachment& attachment : row.attachments) {
    names.append(names.empty() ? "" : "; ").append(attachment.name);
    sizes.append(sizes.empty() ? "" : "; ").append(std::to_string(attachment.sizeBytes));
  }
  std::list<std::string> madeVisible;
  const auto visible = [&madeVisible](std::string_view text) -> std::string_view {
    return text::IsVisible(text) ? text : madeVisible.emplace_back(text::Visible(text));
  };
  return ToCsvRow({ToText(row.number), ToText(row.kind), visible(row.cabinet), visible(row.folder),
                   ToText(row.position), headers.date, visible(headers.from), visible(headers.to),
                   visible(headers.subject), visible(names), sizes, visible(path), row.key,
                   ToText(row.status), visible(row.reason)});
}

class JsonLine {
 public:
  void Add(const char* name, const std::optional<std::int32_t>& number) {
    Begin(name);
    json_ += number ? std::to_string(*number) : "null";
  }
  void Add(const char* name, std::string_view text) {
    Begin(name);
    AppendJsonString(text, json_);
  }
  void AddRaw(const char* name, const std::string& json) {
    Begin(name);
    json_ += json;
  }
  // What few mails have is left out where there is none.
  void AddSome(const char* name, std::string_view text) {
    if (!text.empty()) Add(name, text);
  }
  [[nodiscard]] std::string Finish() && { return std::move(json_) + "}\n"; }

 private:
  void Begin(const char* name) {
    json_.append(json_.size() > 1 ? ", \"" : "\"").append(name).append("\": ");
  }

  std::string json_ = "{";
};

std::string ToJson(const std::vector<Attachment>& attachments) {
  std::string json = "[";
  for (const Attachment& attachment : attachments) {
    json += json.size() > 1 ? ", {\"name\": " : "{\"name\": ";
    AppendJsonString(attachment.name, json);
    json.append(", \"size\": ").append(std::to_string(attachment.sizeBytes)).append("}");
  }
  return json + ']';
}

std::string JsonOf(const IndexRow& row, const Headers& headers, const std::string& path) {
  JsonLine line;
  line.Add("number", row.number);
  line.Add("kind", row.kind);
  line.Add("cabinet", row.cabinet);
  line.Add("folder", row.folder);
  line.Add("position", row.position);
  line.Add("date", headers.date);
  line.Add("from", headers.from);
  line.Add("to", headers.to);
  line.AddSome("cc", headers.cc);
  line.Add("subject", headers.subject);
  line.AddRaw("attachments", ToJson(row.attachments));
  line.Add("path", path);
  line.Add("key", row.key);
  line.Add("status", ToText(row.status));
  line.AddSome("reason", row.reason);
  line.AddSome("file", row.file);
  if (!row.columns.empty()) line.AddRaw("columns", row.columns);
  return std::move(line).Finish();
}

}  // namespace

std::string_view ToText(RowStatus status) {
  static constexpr std::array<std::string_view, 7> TEXTS = {
      "written", "already there", "skipped", "failed", "not listed", "not chosen", "recovered"};
  return TEXTS[static_cast<std::size_t>(status)];
}

MailIndex::MailIndex(const std::filesystem::path& directory, const std::string& csvName,
                     const std::string& jsonName, bool hasByteOrderMark)
    : directory_(directory),
      csvName_(csvName),
      jsonName_(jsonName),
      csv_(directory_, '.' + csvName + ".tmp"),
      json_(directory_, '.' + jsonName + ".tmp") {
  if (hasByteOrderMark) csv_.Write(text::UTF8_BYTE_ORDER_MARK);
  csv_.Write(ToCsvRow({"number", "kind", "cabinet", "folder", "position", "date", "from", "to",
                       "subject", "attachments", "sizes", "path", "key", "status", "reason"}));
  Settle();
}

void MailIndex::Add(const IndexRow& row) {
  const std::string path = PathInIndex(row.path);
  const Headers headers(row.headers);
  csv_.Write(CsvLine(row, headers, path));
  json_.Write(JsonOf(row, headers, path));
  if (row.status != RowStatus::Written && row.status != RowStatus::Recovered) return;
  if (++written_ % MARK_MAILS == 0) {
    marks_.push_back({.written = written_, .csvBytes = csv_.size(), .jsonBytes = json_.size()});
  }
}

void MailIndex::Settle() {
  marks_ = {{.written = written_, .csvBytes = csv_.size(), .jsonBytes = json_.size()}};
}

void MailIndex::DropLast(std::int64_t waiting) {
  if (waiting == 0) return;
  while (marks_.size() > 1 && marks_.back().written > written_ - waiting)
    marks_.pop_back();
  csv_.CutTo(marks_.back().csvBytes);
  json_.CutTo(marks_.back().jsonBytes);
  written_ = marks_.back().written;
}

void MailIndex::PutInPlace(Flush flush) {
  csv_.PutInPlace(directory_, csvName_, flush);
  json_.PutInPlace(directory_, jsonName_, flush);
}

std::string MailIndex::PathInIndex(const std::filesystem::path& path) const {
  std::string text = PathToGenericUtf8(path);
  const std::string root = PathToGenericUtf8(directory_.path());
  if (!text.starts_with(root)) return text;
  text.erase(0, root.size());
  text.erase(0, text.find_first_not_of('/'));
  return text;
}

}  // namespace nimport::archive
