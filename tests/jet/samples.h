#ifndef NIMPORT_TESTS_JET_SAMPLES_H_
#define NIMPORT_TESTS_JET_SAMPLES_H_

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "jet/database.h"
#include "tests/common/memory_file.h"

namespace nimport::jet {

// Real databases that may lie beside the project.
inline std::string SamplesFolder() {
  return NIMPORT_SHARED_SAMPLES;
}
inline bool HaveSamples() {
  return std::filesystem::exists(SamplesFolder() + "/jet-public");
}

// Paths of the databases in a folder, sorted.
inline std::vector<std::string> DatabasesIn(const std::string& folder) {
  std::vector<std::string> paths;
  if (!std::filesystem::exists(folder)) return paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".mdb") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// Keeps what it was told.
class DamageList final : public DamageListener {
 public:
  void OnDamage(const DatabaseError& damage) override { all.push_back(damage); }
  std::vector<DatabaseError> all;
};

}  // namespace nimport::jet

#endif  // NIMPORT_TESTS_JET_SAMPLES_H_
