// Which stores have been exported into a directory, so that none is written over another.
#ifndef NIMPORT_ARCHIVE_STORE_REGISTER_H_
#define NIMPORT_ARCHIVE_STORE_REGISTER_H_

#include <filesystem>
#include <string>
#include <vector>

#include "archive/archive_names.h"
#include "archive/store_sample.h"

namespace nimport::archive {

// Stands in the directory. JSON: what each store is known by, and the names of its directories.
inline constexpr const char* REGISTER_NAME = ".nimport.json";

class StoreRegister {
 public:
  // Reads what stands in the directory. Throws std::runtime_error when that cannot be read.
  explicit StoreRegister(std::filesystem::path directory);

  // Whether nothing was exported there.
  [[nodiscard]] bool IsNew() const { return stores_.empty() && !hasOldAccount_; }

  // All samples as one, to be looked for in the store that is to be exported.
  [[nodiscard]] StoreSample KnownSample() const;

  // Finds the store's place: the one that it has, or the next one where the directory is new or
  // `isAdded` lets another store in. `present` was taken with KnownSample among the others;
  // `folders` are the names of all folders. Throws std::runtime_error when another store's export
  // stands there.
  void Enter(const StoreSample& present, const std::vector<std::string>& folders, bool isAdded);

  // The names of the store that was entered.
  [[nodiscard]] ArchiveNames& names() { return names_; }

  // Puts down what the entered store is known by, with the names that were given so far. Throws
  // std::system_error.
  void Save();

 private:
  struct Entry {
    StoreSample sample;
    KnownDirectories directories;
  };

  void Read(const std::string& json);
  // Whether an export of a version that kept no register may be this store's.
  [[nodiscard]] bool FitsOldAccount(const std::vector<std::string>& folders) const;

  std::filesystem::path directory_;
  bool hasOldAccount_ = false;  // without a register
  std::vector<Entry> stores_;   // the first is number 1
  std::size_t entered_ = 0;     // place in the list
  ArchiveNames names_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_STORE_REGISTER_H_
