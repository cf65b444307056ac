#ifndef NIMPORT_ARCHIVE_FORMATS_MAIL_KEYS_H_
#define NIMPORT_ARCHIVE_FORMATS_MAIL_KEYS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace nimport::archive {

// Tells apart mails of one folder in which the store holds the very same. Takes some 11 bytes a
// mail, while it grows twice as many.
class MailKeys {
 public:
  // Room for so many, without growing.
  void Reserve(std::size_t count);

  // `key`, or "key-2" and so on when that was given before.
  [[nodiscard]] std::string Take(const std::string& key);

 private:
  // Whether the digest is new.
  bool Insert(std::uint64_t digest);
  void Rebuild(std::size_t slots);

  // Digests, each in the first free slot from its own on; 0 is a free one. Two keys with one digest
  // count as the same, which gives the second of them a needless number.
  std::vector<std::uint64_t> slots_;
  std::size_t used_ = 0;
  std::map<std::uint64_t, int> counts_;  // of those that came more than once
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_MAIL_KEYS_H_
