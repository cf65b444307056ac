#include "jet/storage/page_survey.h"

#include <algorithm>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/usage_map.h"

namespace nimport::jet {

void PageSurvey::Forget() {
  isMade_ = false;
  knowsFreePages_ = false;
  byOwner_.clear();
  definitions_.clear();
}

std::span<const std::uint32_t> PageSurvey::PagesOf(std::uint32_t definitionPage) {
  Make();
  const auto found = byOwner_.find(definitionPage);
  if (found == byOwner_.end()) return {};
  return found->second;
}

bool PageSurvey::KnowsFreePages() {
  Make();
  return knowsFreePages_;
}

std::span<const std::uint32_t> PageSurvey::DefinitionPages() {
  Make();
  return definitions_;
}

bool PageSurvey::IsDefinitionPage(std::uint32_t page) {
  Make();
  return std::binary_search(definitions_.begin(), definitions_.end(), page);
}

void PageSurvey::Make() {
  if (isMade_) return;
  Forget();
  const std::vector<bool> isFree = ReadFreePages();
  const std::uint32_t count = file_.PageCount();
  for (std::uint32_t number = 1; number < count; ++number) {
    if (isFree[number]) continue;
    try {
      Enter(file_.Read(number, ReadHint::Once, count - number - 1));
    } catch (const DatabaseError&) {
      // Reported when something is looked for on the page.
    }
  }
  isMade_ = true;
}

std::vector<bool> PageSurvey::ReadFreePages() {
  std::vector<bool> isFree(file_.PageCount());
  try {
    const RowId map{GLOBAL_MAP_PAGE << 8};
    for (const std::uint32_t page : ReadUsageMap(file_, map, OWNER_GLOBAL_MAP).pages)
      isFree[page] = true;
    knowsFreePages_ = true;
  } catch (const DatabaseError&) {
    // Some sound files have none that could be read.
  }
  return isFree;
}

void PageSurvey::Enter(const Page& page) {
  const ByteReader reader(page.bytes);
  const unsigned type = reader.U8(PAGE_TYPE_OFFSET);
  if (type == unsigned(PageType::TableDefinition)) {
    definitions_.push_back(page.number);
  } else if (type == unsigned(PageType::Data)) {
    const std::uint32_t owner = reader.U32(DATA_PAGE_OWNER_OFFSET);
    if (owner != OWNER_LONG_VALUES) byOwner_[owner].push_back(page.number);
  }
}

}  // namespace nimport::jet
