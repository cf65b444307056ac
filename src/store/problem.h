// What is wrong in a store, as values: what could not be read, and damage that was stepped over.
#ifndef NIMPORT_STORE_PROBLEM_H_
#define NIMPORT_STORE_PROBLEM_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "jet/database_error.h"

namespace nimport::store {

// One thing that is wrong, and where. Texts are UTF-8; what is not known is empty.
struct Problem {
  std::string reason{};  // one sentence
  std::string file{};
  std::optional<std::uint32_t> page{};
  std::string table{};                  // or stored query
  std::optional<std::uint32_t> slot{};  // of the row in its page

  // The reason, with the file and the table where it does not name them.
  [[nodiscard]] std::string Describe() const;
};

[[nodiscard]] Problem ToProblem(const jet::DatabaseError& error);

// What was asked for is missing or cannot be read.
class Error : public std::runtime_error {
 public:
  explicit Error(Problem problem)
      : std::runtime_error(problem.Describe()), problem_(std::move(problem)) {}

  [[nodiscard]] const Problem& problem() const { return problem_; }
  // The problem as one sentence, UTF-8.
  [[nodiscard]] std::string reason() const { return what(); }

 private:
  Problem problem_;
};

// The work ended because Options::interruption asked for it; nothing is wrong.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_PROBLEM_H_
