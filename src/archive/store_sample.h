// What a store is known by: some of its mails. A store that was copied, mounted elsewhere or used
// on has them still; another one has other mails under their numbers.
#ifndef NIMPORT_ARCHIVE_STORE_SAMPLE_H_
#define NIMPORT_ARCHIVE_STORE_SAMPLE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "store/store.h"

namespace nimport::archive {

struct StoreSample {
  std::map<std::int32_t, std::string> mails;  // keys of mails (FinishedMail::key) by their numbers
  std::set<std::string> contacts;             // UIDs; only of stores without a mail

  [[nodiscard]] bool IsEmpty() const { return mails.empty() && contacts.empty(); }
};

// How much of a sample a store has.
struct Likeness {
  std::size_t same = 0;
  std::size_t other = 0;  // has another mail of the same number, and not this one

  [[nodiscard]] bool IsSameStore() const { return same > 0 && same >= other; }
};

// What a sample has at most of mails, and of contacts.
inline constexpr std::size_t SAMPLE_SIZE = 64;

// A sample of a store: the mails with the lowest numbers, and as many whose numbers are spread over
// all, always the same ones; and, where the store has them, those that `also` has. `store` is null
// where the mail database cannot be read. What cannot be read is left out. Throws
// store::Interrupted.
[[nodiscard]] StoreSample TakeSample(platform::Platform& platform, store::Store* store,
                                     const StoreSample& also);

// `sample` without what others asked for.
[[nodiscard]] StoreSample WithoutOthers(const StoreSample& sample);

// `present` was taken with `known` among the others.
[[nodiscard]] Likeness Compare(const StoreSample& known, const StoreSample& present);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_STORE_SAMPLE_H_
