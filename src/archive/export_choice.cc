#include "archive/export_choice.h"

#include <algorithm>

#include "archive/store_folders.h"

namespace nimport::archive {

bool IsBesideFolders(const std::string& chosen) {
  return chosen.starts_with('(');
}

bool ExportChoice::HasDayOf(const MailHeaders& headers) const {
  if (since.empty() && until.empty()) return true;
  const std::optional<std::string> time = headers.DateText();
  if (!time) return true;
  // Days in this form are in the order of their texts.
  return since <= *time && (until.empty() || time->substr(0, until.size()) <= until);
}

void RequireFolders(const ExportChoice& choice, const store::Store& store) {
  for (const std::string& folder : choice.folders) {
    if (!IsBesideFolders(folder)) static_cast<void>(FindFolders(store, folder));
  }
}

std::set<const MailSource*> ChosenSources(const ExportChoice& choice, const store::Store& store,
                                          const MailSources& sources) {
  std::set<const MailSource*> chosen;
  const bool areFolders = !sources.empty() && (sources.front()->kind() == SourceKind::Listed ||
                                               sources.front()->kind() == SourceKind::Repeated);
  for (const auto& source : sources)
    if (choice.folders.empty() || std::ranges::count(choice.folders, source->Name()) > 0)
      chosen.insert(source.get());
  for (const std::string& folder : choice.folders) {
    if (!areFolders || IsBesideFolders(folder)) continue;
    for (const FolderPlace& place : FindFolders(store, folder))
      chosen.insert(sources[place.index].get());
  }
  return chosen;
}

}  // namespace nimport::archive
