#include "jet/format/header_salvage.h"

#include <algorithm>
#include <vector>

#include "jet/format/byte_reader.h"
#include "jet/format/rc4.h"
#include "jet/format/system_layout.h"

namespace nimport::jet {
namespace {

// The global map and the definitions of four system tables.
constexpr int MAX_VOTES = 5;

class HeaderJudge {
 public:
  explicit HeaderJudge(const ReadRawPage& readPage) : readPage_(readPage) {}

  // How many of the first pages are what they should be, of MAX_VOTES.
  [[nodiscard]] int Votes(const FileHeader& header) const {
    int votes = IsGlobalMap(header) ? 1 : 0;
    for (std::uint32_t page = OBJECTS_PAGE; page <= RELATIONSHIPS_PAGE; ++page)
      votes += IsDefinition(header, page) ? 1 : 0;
    return votes;
  }

  // The code page of Jet 3 text that all columns of the list of objects agree on.
  [[nodiscard]] std::optional<unsigned> CodePageOfColumns(const FileHeader& header) const {
    if (header.layout->text != TextForm::CodePage) return std::nullopt;
    const std::vector<std::byte> page = ReadPage(header, OBJECTS_PAGE);
    if (!HasType(page, PageType::TableDefinition)) return std::nullopt;
    const ByteReader reader(page);
    const DefinitionLayout& fields = header.layout->definition;
    const std::size_t count = reader.U16(fields.columnCount);
    const std::uint64_t first =
        fields.fixedPartBytes +
        std::uint64_t{reader.U32(fields.realIndexCount)} * fields.indexCounterBytes;
    if (count == 0 || first + count * fields.columnRecordBytes > page.size()) return std::nullopt;
    const auto codePage = [&](std::size_t column) -> unsigned {
      return reader.U16(static_cast<std::size_t>(first) + column * fields.columnRecordBytes +
                        COLUMN_CODE_PAGE_OFFSET_JET3);
    };
    for (std::size_t column = 1; column < count; ++column) {
      if (codePage(column) != codePage(0)) return std::nullopt;
    }
    return codePage(0) == 0 ? std::nullopt : std::optional(codePage(0));
  }

 private:
  // Empty when there is no such page.
  [[nodiscard]] std::vector<std::byte> ReadPage(const FileHeader& header,
                                                std::uint32_t number) const {
    std::vector<std::byte> page(header.layout->pageSize);
    if (!readPage_(number, page)) return {};
    if (header.encodingKey != 0) ApplyRc4(header.encodingKey ^ number, page);
    return page;
  }

  [[nodiscard]] static bool HasType(const std::vector<std::byte>& page, PageType type) {
    return !page.empty() && page[PAGE_TYPE_OFFSET] == static_cast<std::byte>(type) &&
           page[PAGE_MARK_OFFSET] == std::byte{PAGE_MARK};
  }

  [[nodiscard]] bool IsGlobalMap(const FileHeader& header) const {
    const std::vector<std::byte> page = ReadPage(header, GLOBAL_MAP_PAGE);
    return HasType(page, PageType::Data) &&
           ByteReader(page).U32(DATA_PAGE_OWNER_OFFSET) == OWNER_GLOBAL_MAP;
  }

  [[nodiscard]] bool IsDefinition(const FileHeader& header, std::uint32_t number) const {
    return HasType(ReadPage(header, number), PageType::TableDefinition);
  }

  const ReadRawPage& readPage_;
};

// What else the header may have been.
std::vector<FileHeader> OtherHeaders(const std::optional<FileHeader>& header) {
  std::vector<FileHeader> others;
  for (const JetLayout* layout : {&JET3, &JET4}) {
    FileHeader other = header.value_or(FileHeader{});
    other.layout = layout;
    others.push_back(other);
    other.encodingKey = 0;
    others.push_back(other);
  }
  return others;
}

std::optional<FileHeader> CorrectCodePage(const FileHeader& header, const HeaderJudge& judge,
                                          std::string& damage) {
  const std::optional<unsigned> codePage = judge.CodePageOfColumns(header);
  if (!codePage || *codePage == header.codePage) return std::nullopt;
  if (damage.empty()) {
    damage = "the header names the code page " + std::to_string(header.codePage) +
             ", the columns of the list of objects " + std::to_string(*codePage);
  }
  FileHeader corrected = header;
  corrected.codePage = *codePage;
  return corrected;
}

}  // namespace

std::optional<FileHeader> CorrectHeader(const std::optional<FileHeader>& header,
                                        const ReadRawPage& readPage, std::string& damage) {
  const HeaderJudge judge(readPage);
  // Some of those pages may be damaged as well: half of them must agree.
  int votes = std::max(header ? judge.Votes(*header) : 0, MAX_VOTES / 2);
  std::optional<FileHeader> best;
  for (const FileHeader& other : OtherHeaders(header)) {
    if (judge.Votes(other) <= votes) continue;
    votes = judge.Votes(other);
    best = other;
  }
  if (best) {
    damage = "the header does not fit the file's pages";
    return CorrectCodePage(*best, judge, damage).value_or(*best);
  }
  return header ? CorrectCodePage(*header, judge, damage) : std::nullopt;
}

}  // namespace nimport::jet
