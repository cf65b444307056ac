#ifndef NIMPORT_JET_DATABASE_ERROR_H_
#define NIMPORT_JET_DATABASE_ERROR_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace nimport::jet {

// Where something was found wrong. Texts are UTF-8; what is not known is empty.
struct ErrorPlace {
  std::string file = {};
  std::optional<std::uint32_t> page = {};
  std::string table = {};                  // or stored query
  std::optional<std::uint32_t> slot = {};  // of a row in its page
  std::string column = {};
};

// A database cannot be read: it is damaged, is not a Jet database, lacks what was asked for, or its
// file could not be read. what() is one sentence in UTF-8 that names every known part of the place.
class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(ErrorPlace place, const std::string& reason);

  [[nodiscard]] const ErrorPlace& place() const { return place_; }
  // What was wrong, without the place.
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  ErrorPlace place_;
  std::string reason_;
};

// The work was ended because OpenOptions::interruption asks for it.
class Interrupted : public DatabaseError {
 public:
  explicit Interrupted(ErrorPlace place) : DatabaseError(std::move(place), "interrupted") {}
};

// Takes reports of damage that was stepped over: one for each damaged page or row, while the
// database is open.
class DamageListener {
 public:
  virtual ~DamageListener() = default;
  virtual void OnDamage(const DatabaseError& damage) = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_DATABASE_ERROR_H_
