#ifndef NIMPORT_TESTS_COMMAND_STORE_H_
#define NIMPORT_TESTS_COMMAND_STORE_H_

#include <string>
#include <vector>

#include "common/test_directory.h"
#include "mkstore/store_writer.h"

namespace nimport::tests {

// A store made for a test, with the arguments that lead the tool to it.
class TestStore {
 public:
  // `description` is JSON.
  explicit TestStore(const std::string& description);

  [[nodiscard]] const mkstore::Store& store() const { return store_; }
  [[nodiscard]] const TestDirectory& directory() const { return directory_; }

  // The command line of `nimport SUBCOMMAND` on this store, with `more` after it.
  [[nodiscard]] std::vector<std::string> Command(const std::string& subcommand,
                                                 const std::vector<std::string>& more = {}) const;

 private:
  TestDirectory directory_;
  mkstore::Store store_;
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMAND_STORE_H_
