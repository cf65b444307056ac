// Where the folders of an export stand.
#ifndef NIMPORT_ARCHIVE_LAYOUT_H_
#define NIMPORT_ARCHIVE_LAYOUT_H_

#include <filesystem>
#include <map>
#include <string>

#include "archive/safe_name.h"

namespace nimport::archive {

enum class Layout {
  // Cabinet/Folder: plain directories.
  Plain,
  // .Cabinet.Folder beside the directories of an inbox, in modified UTF-7: what IMAP servers keep.
  // For the format Maildir.
  MaildirPlusPlus,
  // nimport.sbd/Cabinet.sbd/Folder: what Thunderbird keeps as its Local Folders, where
  // "Cabinet.sbd"
  // holds the folders within "Cabinet". For the format mbox.
  Thunderbird,
};

// Gives the folders of an export the paths that they have in a layout. They come with their plain
// paths, all different.
class FolderPaths {
 public:
  explicit FolderPaths(Layout layout) : layout_(layout) {}

  // Of a folder, without a format's ending. To be called once for each.
  [[nodiscard]] std::filesystem::path Take(const std::filesystem::path& folder);

  // Of a cabinet; empty where a cabinet has no place of its own. The same whenever it is called.
  [[nodiscard]] std::filesystem::path CabinetPath(const std::filesystem::path& cabinet);

 private:
  Layout layout_;
  UniqueNames names_;
  std::map<std::filesystem::path, std::filesystem::path> cabinets_;
};

// Makes what a layout has for a cabinet besides its folders. `cabinet` is its path in the layout,
// beneath the directory `target`. Throws std::system_error.
void MakeCabinet(Layout layout, const std::filesystem::path& target,
                 const std::filesystem::path& cabinet);

// Makes what a layout has for a folder besides its mails, when these have their directory. Throws
// std::system_error.
void MarkFolder(Layout layout, const std::filesystem::path& folder);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_LAYOUT_H_
