#ifndef NIMPORT_WEXMAIL_PART_LISTS_H_
#define NIMPORT_WEXMAIL_PART_LISTS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "mime/mail.h"

namespace nimport::wexmail {

// The parts of a mail by their content type.
class PartLists {
 public:
  // `mail` outlives the object.
  explicit PartLists(const mime::Mail& mail);

  // The parts of a content type ("type/subtype"), in the order of the mail, those in enclosed
  // messages included; multiparts are none. Of a type that parts are recorded under just those, so
  // that the plug-in's number of a part is its place here; else those of exactly this type; else
  // those that differ in letter case, blanks and parameters only. Valid as long as the object.
  [[nodiscard]] const std::vector<std::size_t>& Find(std::string_view contentType) const;

 private:
  std::unordered_map<std::string_view, std::vector<std::size_t>> recorded_;
  std::unordered_map<std::string, std::vector<std::size_t>> exact_;
  std::unordered_map<std::string, std::vector<std::size_t>> loose_;  // by type in lower case
  std::vector<std::size_t> none_;  // what is answered for a type that no part has
};

}  // namespace nimport::wexmail

#endif  // NIMPORT_WEXMAIL_PART_LISTS_H_
