// Which of the mails of a store are exported.
#ifndef NIMPORT_ARCHIVE_EXPORT_CHOICE_H_
#define NIMPORT_ARCHIVE_EXPORT_CHOICE_H_

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "archive/mail_source.h"
#include "store/store.h"

namespace nimport::archive {

struct ExportChoice {
  // As `tree` shows them, or their indexes there; empty for all.
  std::vector<std::string> folders = {};
  // The first and the last day, in local time: "1998-01-13", "1998-01" or "1998"; empty for any.
  std::string since = {};
  std::string until = {};

  // Whether the mail is of the days chosen. One without a date always is, so that no mail falls
  // between two choices.
  [[nodiscard]] bool HasDayOf(const MailHeaders& headers) const;
};

// Whether the choice names a source that is no folder of the store: "(not listed)/...",
// "(deleted)". Which of these there are is known once they were looked for.
[[nodiscard]] bool IsBesideFolders(const std::string& chosen);

// Throws std::runtime_error for a folder that the store does not have, unless IsBesideFolders.
void RequireFolders(const ExportChoice& choice, const store::Store& store);

// Which of `sources` the choice has: all of the store's folders in its order, or none of them.
// Throws as RequireFolders.
[[nodiscard]] std::set<const MailSource*> ChosenSources(const ExportChoice& choice,
                                                        const store::Store& store,
                                                        const MailSources& sources);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_EXPORT_CHOICE_H_
