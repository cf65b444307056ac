#ifndef NIMPORT_TESTS_JET_SAMPLES_H_
#define NIMPORT_TESTS_JET_SAMPLES_H_

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "jet/database.h"
#include "tests/common/memory_file.h"

namespace nimport::jet {

// Where real databases may lie beside the project.
inline std::string SamplesFolder() {
  return NIMPORT_SHARED_SAMPLES;
}

// Keeps what it was told.
class DamageList final : public DamageListener {
 public:
  void OnDamage(const DatabaseError& damage) override { all.push_back(damage); }
  std::vector<DatabaseError> all;
};

}  // namespace nimport::jet

#endif  // NIMPORT_TESTS_JET_SAMPLES_H_
