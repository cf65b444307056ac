#ifndef NIMPORT_JET_STORAGE_PAGE_SURVEY_H_
#define NIMPORT_JET_STORAGE_PAGE_SURVEY_H_

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "jet/storage/page_file.h"

namespace nimport::jet {

// What the pages of a file say of themselves, found by going through all of them: for salvaging,
// where what other pages say of them cannot be relied on. Made at the first question; four bytes a
// page that is not free.
class PageSurvey {
 public:
  // `file` must outlive the survey.
  explicit PageSurvey(PageFile& file) : file_(file) {}

  // To be called when the file has changed.
  void Forget();

  // The data pages whose header names the table with this definition as their owner, ascending.
  // Pages that are free keep what they held and are left out where the file's map of free pages can
  // be read.
  [[nodiscard]] std::span<const std::uint32_t> PagesOf(std::uint32_t definitionPage);
  [[nodiscard]] bool KnowsFreePages();

  // Pages of table definitions, those that continue one among them, ascending.
  [[nodiscard]] std::span<const std::uint32_t> DefinitionPages();
  [[nodiscard]] bool IsDefinitionPage(std::uint32_t page);

 private:
  void Make();
  // Whether each page is free; all false where the map cannot be read.
  [[nodiscard]] std::vector<bool> ReadFreePages();
  void Enter(const Page& page);

  PageFile& file_;
  bool isMade_ = false;
  bool knowsFreePages_ = false;
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> byOwner_;
  std::vector<std::uint32_t> definitions_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_PAGE_SURVEY_H_
