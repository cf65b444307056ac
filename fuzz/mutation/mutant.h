// Damaged copies of stores: which file, which damage, at which place. Seeds decide; the same seed
// and number give the same mutant everywhere.
#ifndef NIMPORT_FUZZ_MUTATION_MUTANT_H_
#define NIMPORT_FUZZ_MUTATION_MUTANT_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace nimport::mutation {

enum class Damage {
  BitFlips,      // one to eight bits, within one page
  Bytes,         // one to sixteen bytes in a row become others
  ZeroedPage,    // a page of the database becomes zero bytes
  ZeroedSector,  // 512 bytes become zero bytes
  SwappedPages,  // two pages of a database change places
  ForeignPage,   // a page becomes a copy of a page from elsewhere: this database or another
  Truncated,     // the file ends early
  Missing,       // the file is not there
};
inline constexpr Damage ALL_DAMAGE[] = {
    Damage::BitFlips,     Damage::Bytes,       Damage::ZeroedPage, Damage::ZeroedSector,
    Damage::SwappedPages, Damage::ForeignPage, Damage::Truncated,  Damage::Missing};

[[nodiscard]] const char* NameOf(Damage damage);

// A sound store: its files by their names beneath the store's root.
struct SoundStore {
  std::string name;
  std::map<std::string, std::string> files;
};

struct Mutant {
  std::uint64_t number = 0;
  std::size_t store = 0;  // in the list of sound stores
  Damage damage{};
  std::string file;
  // What kind of page or file was hit; the first page where there are several.
  std::string place;
  std::string description;
  std::optional<std::string> bytes;  // of the damaged file; empty when it is missing
};

// `stores` is not empty, and each of them has the two databases.
[[nodiscard]] Mutant MakeMutant(const std::vector<SoundStore>& stores, std::uint64_t seed,
                                std::uint64_t number);

// One bit of a database.
struct Flip {
  std::size_t store = 0;
  std::string file;
  std::size_t offset = 0;
  unsigned bit = 0;
};

// Every bit of the pages of those kinds (the names in Mutant::place) in all databases of all
// stores, but for bytes that belong to nothing: after a definition's end, and between the slots
// and the rows of a page.
[[nodiscard]] std::vector<Flip> ListFlips(const std::vector<SoundStore>& stores,
                                          const std::vector<std::string>& kinds);

[[nodiscard]] Mutant MakeMutant(const std::vector<SoundStore>& stores, const Flip& flip,
                                std::uint64_t number);

}  // namespace nimport::mutation

#endif  // NIMPORT_FUZZ_MUTATION_MUTANT_H_
