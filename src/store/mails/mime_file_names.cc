#include "store/mails/mime_file_names.h"

#include <algorithm>

#include "common/file_error.h"
#include "platform/columns.h"
#include "store/mails/column_guess.h"
#include "store/mails/stored_file.h"
#include "text/ascii.h"
#include "text/letter_case.h"

namespace nimport::store {
namespace {

// Directories within directories: the mail client makes none.
constexpr int MAX_DEPTH = 8;

struct NameColumn {
  std::size_t column = 0;
  bool isLink = false;  // holds nothing else than names of MIME files
};

// Columns of mails that may name a file, whatever they are called.
std::vector<NameColumn> FindNameColumns(const std::vector<jet::ColumnInfo>& columns) {
  std::vector<NameColumn> found;
  bool hasNumber = false;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const jet::ColumnInfo& column = columns[i];
    hasNumber = hasNumber || text::EqualsIgnoringCase(column.name, "DataNo");
    const bool isLink = LooksLikeRole(column.name, column.type) == ColumnRole::MimeFile;
    if (isLink || column.type == jet::ColumnType::Text) found.push_back({i, isLink});
  }
  return hasNumber ? found : std::vector<NameColumn>();
}

}  // namespace

MimeFileNames::MimeFileNames(platform::Platform& platform, const text::PathText& databaseDirectory)
    : platform_(platform), databaseDirectory_(databaseDirectory) {
  unusable_ =
      Walk({}, 0, [&](const std::string& name) { hashes_.push_back(HashOf(ToUtf8(name))); });
  std::ranges::sort(unusable_);
  std::ranges::sort(hashes_);
  isNamed_.resize(hashes_.size());
}

void MimeFileNames::LeaveOutThoseOf(jet::Database& database) {
  if (hashes_.empty()) return;
  for (const std::string& name : database.TableNames()) {
    std::unique_ptr<jet::TableDefinition> table;
    try {
      table = database.OpenTable(name);
    } catch (const jet::Interrupted&) {
      throw;
    } catch (const jet::DatabaseError&) {
      continue;  // a table of another file, or one whose damage the export tells
    }
    const std::vector<NameColumn> columns = FindNameColumns(table->Columns());
    if (columns.empty()) continue;
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext()) {
      for (const NameColumn& column : columns) {
        const jet::Value value = rows->GetFieldValue(column.column);
        const std::string_view text = platform::TextOf(value);
        if (column.isLink || text.find('.') != text.npos) LeaveOut(text);
      }
    }
  }
}

std::vector<std::string> MimeFileNames::Rest() const {
  std::vector<std::string> rest;
  if (std::ranges::find(isNamed_, false) == isNamed_.end()) return rest;
  Walk({}, 0, [&](const std::string& name) {
    std::string utf8 = ToUtf8(name);
    const auto place = std::ranges::lower_bound(hashes_, HashOf(utf8));
    const bool isKnown = place != hashes_.end() && *place == HashOf(utf8);
    if (!isKnown || !isNamed_[static_cast<std::size_t>(place - hashes_.begin())])
      rest.push_back(std::move(utf8));
  });
  std::ranges::sort(rest);
  return rest;
}

std::vector<std::string> MimeFileNames::Walk(const std::string& directory, int depth,
                                             const Visitor& visit) const {
  std::vector<std::string> unusable;
  std::vector<std::string> directories;
  try {
    unusable = platform_.files().ListStored(
        MimeFilePath(databaseDirectory_, directory), [&](std::string_view name, bool isDirectory) {
          if (isDirectory) {
            directories.push_back(directory + std::string(name) + '\\');
          } else {
            visit(directory + std::string(name));
          }
        });
  } catch (const FileMissing&) {
    return {};
  }
  for (std::string& name : unusable)
    name = ToUtf8(directory) + name;
  for (const std::string& below : directories) {
    if (depth == MAX_DEPTH) break;
    const std::vector<std::string> more = Walk(below, depth + 1, visit);
    unusable.insert(unusable.end(), more.begin(), more.end());
  }
  return unusable;
}

std::string MimeFileNames::ToUtf8(std::string_view codePage932) const {
  const text::CodePageConverter& text = platform_.text();
  return text.FromUtf16(text.ToUtf16(codePage932, text::CODE_PAGE_JAPANESE), text::CODE_PAGE_UTF8);
}

std::uint64_t MimeFileNames::HashOf(std::string_view name) const {
  std::u16string folded = text::FoldCase(platform_.text().ToUtf16(name, text::CODE_PAGE_UTF8));
  std::ranges::replace(folded, u'/', u'\\');
  folded.erase(0, folded.find_first_not_of(u'\\'));
  // FNV-1a, of which 64 bits keep a million names apart.
  std::uint64_t hash = 0xCBF2'9CE4'8422'2325;
  for (const char16_t unit : folded)
    hash = (hash ^ unit) * 0x100'0000'01B3;
  return hash;
}

void MimeFileNames::LeaveOut(std::string_view name) {
  const std::uint64_t hash = HashOf(name);
  const auto [first, next] = std::equal_range(hashes_.begin(), hashes_.end(), hash);
  for (auto place = first; place != next; ++place)
    isNamed_[static_cast<std::size_t>(place - hashes_.begin())] = true;
}

}  // namespace nimport::store
