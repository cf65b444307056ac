#ifndef NIMPORT_ARCHIVE_STORE_FOLDERS_H_
#define NIMPORT_ARCHIVE_STORE_FOLDERS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace nimport::archive {

// A folder and where it stands. Borrows from the store.
struct FolderPlace {
  std::size_t index = 0;  // among all folders of the store, from 0
  const store::Cabinet* cabinet = nullptr;
  const store::Folder* folder = nullptr;

  // "Cabinet/Folder", as shown. Unambiguous: '/' is escaped in the names.
  [[nodiscard]] std::string Name() const;
};

[[nodiscard]] std::vector<FolderPlace> AllFolders(const store::Store& store);

// The folders that `text` means: an index, a "Cabinet/Folder", or all when it is empty. Throws
// std::runtime_error when there is none or when the name belongs to several.
[[nodiscard]] std::vector<FolderPlace> FindFolders(const store::Store& store,
                                                   std::string_view text);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_STORE_FOLDERS_H_
