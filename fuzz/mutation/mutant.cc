#include "mutation/mutant.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace nimport::mutation {
namespace {

constexpr std::size_t SECTOR_BYTES = 512;

// SplitMix64: the same numbers with every library.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}

  [[nodiscard]] std::uint64_t Roll() {
    std::uint64_t z = state_ += 0x9E3779B97F4A7C15U;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9U;
    z = (z ^ z >> 27) * 0x94D049BB133111EBU;
    return z ^ z >> 31;
  }
  // 0 to `end` - 1; 0 when there is nothing to choose from.
  [[nodiscard]] std::size_t Below(std::size_t end) {
    return end == 0 ? 0 : static_cast<std::size_t>(Roll() % end);
  }

 private:
  std::uint64_t state_;
};

bool IsDatabase(std::string_view name) {
  return name.ends_with(".mdb");
}

// The version byte of a database's header tells.
std::size_t PageBytes(std::string_view database) {
  return database.size() > 0x14 && database[0x14] == 0 ? 2048 : 4096;
}

std::uint32_t Number32(std::string_view bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;)
    value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
  return value;
}

// What a page of a sound database holds.
std::string DescribePage(std::string_view database, std::size_t page) {
  if (page == 0) return "header";
  const std::string_view bytes = database.substr(page * PageBytes(database), PageBytes(database));
  const std::uint32_t owner = Number32(bytes, 4);
  switch (bytes[0]) {
    case 1:
      if (owner == 0) return "usage maps";
      if (owner == 1) return "global map";
      if (owner == 2) return "rows of the catalog";
      if (owner == 3) return "rows of permissions";
      if (owner == 4) return "rows of stored queries";
      if (owner == 0x4C41564C) return "long values";
      return "rows of a table";
    case 2:
      return page < 6 ? "definition, system" : "definition";
    case 3:
    case 4:
      return "index";
    case 5:
      return "usage bitmap";
    default:
      return "unused page";
  }
}

// The bytes of a page that mean something: two ranges, each from its first byte to after its last.
std::vector<std::pair<std::size_t, std::size_t>> UsedRanges(std::string_view database,
                                                            std::size_t page) {
  const std::size_t pageBytes = PageBytes(database);
  const std::string_view bytes = database.substr(page * pageBytes, pageBytes);
  if (bytes[0] == 2) {
    // The definitions of these stores have one page each.
    return {{0, std::min<std::size_t>(Number32(bytes, 8), pageBytes)}};
  }
  if (bytes[0] != 1) return {{0, pageBytes}};
  const bool isJet3 = pageBytes == 2048;
  const std::size_t slots = Number32(bytes, isJet3 ? 8 : 12) & 0xFFFF;
  const std::size_t tableEnd = (isJet3 ? 10 : 14) + 2 * slots;
  const std::size_t freeBytes = Number32(bytes, 2) & 0xFFFF;
  return {{0, tableEnd}, {tableEnd + freeBytes, pageBytes}};
}

std::string DescribeFile(const std::string& name) {
  const auto has = [&](std::string_view part) { return name.find(part) != std::string::npos; };
  if (has("/Mime/")) return "MIME file";
  if (name.ends_with(".reg")) return "registry file";
  if (name.ends_with(".exe")) return "program";
  return "stored file";
}

class Mutator {
 public:
  Mutator(const std::vector<SoundStore>& stores, std::uint64_t seed, std::uint64_t number)
      : stores_(stores), dice_(seed * 0xD1342543DE82EF95U + number) {
    mutant_.number = number;
    mutant_.store = static_cast<std::size_t>(number % stores.size());
  }

  Mutant Make() {
    ChooseFile();
    if (IsDatabase(mutant_.file)) {
      pageBytes_ = PageBytes(*mutant_.bytes);
      mutant_.damage = ALL_DAMAGE[dice_.Below(std::size(ALL_DAMAGE) - 1)];
    } else {
      pageBytes_ = SECTOR_BYTES;
      constexpr Damage ORDINARY[] = {Damage::BitFlips, Damage::Bytes, Damage::ZeroedSector,
                                     Damage::Truncated, Damage::Missing};
      mutant_.damage = ORDINARY[dice_.Below(std::size(ORDINARY))];
      mutant_.place = DescribeFile(mutant_.file);
    }
    Apply();
    return std::move(mutant_);
  }

 private:
  // Most mutants are of the mail database.
  void ChooseFile() {
    const auto& files = stores_[mutant_.store].files;
    std::vector<std::string> ordinary;
    std::vector<std::string> databases;
    for (const auto& [name, bytes] : files)
      (IsDatabase(name) ? databases : ordinary).push_back(name);
    std::ranges::sort(databases, std::ranges::greater{}, [&](const std::string& name) {
      return name.ends_with("Cabdata.mdb") ? 1 : 0;
    });
    const std::size_t roll = dice_.Below(100);
    if (roll < 70) {
      mutant_.file = databases.front();
    } else if (roll < 82) {
      mutant_.file = databases.back();
    } else {
      mutant_.file = ordinary[dice_.Below(ordinary.size())];
    }
    mutant_.bytes = files.at(mutant_.file);
  }

  void Apply() {
    switch (mutant_.damage) {
      case Damage::BitFlips:
        return FlipBits();
      case Damage::Bytes:
        return ChangeBytes();
      case Damage::ZeroedPage:
        return Zero(pageBytes_);
      case Damage::ZeroedSector:
        return Zero(SECTOR_BYTES);
      case Damage::SwappedPages:
        return SwapPages();
      case Damage::ForeignPage:
        return PutForeignPage();
      case Damage::Truncated:
        return Truncate();
      case Damage::Missing:
        mutant_.bytes.reset();
        mutant_.description = "not there";
    }
  }

  // Remembers the place before it is changed.
  void StandAt(std::size_t offset) {
    if (IsDatabase(mutant_.file)) {
      const std::size_t page = offset / pageBytes_;
      mutant_.place = (page + 1) * pageBytes_ <= mutant_.bytes->size()
                          ? DescribePage(*mutant_.bytes, page)
                          : "nothing";
      mutant_.description += "page " + std::to_string(page) + " ";
    }
    mutant_.description += "byte " + std::to_string(offset);
  }

  // Half of all single changes hit the first bytes of a page, where the structures are.
  std::size_t ChooseOffset() {
    std::string& bytes = *mutant_.bytes;
    const std::size_t offset = dice_.Below(bytes.size());
    if (dice_.Below(2) == 0) return offset;
    return std::min(offset / pageBytes_ * pageBytes_ + dice_.Below(64), bytes.size() - 1);
  }

  void FlipBits() {
    std::string& bytes = *mutant_.bytes;
    if (bytes.empty()) return;
    const std::size_t first = ChooseOffset();
    StandAt(first);
    const std::size_t count = 1 + dice_.Below(8);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t offset =
          i == 0 ? first : std::min(first + dice_.Below(32), bytes.size() - 1);
      bytes[offset] = static_cast<char>(bytes[offset] ^ (1 << dice_.Below(8)));
    }
    mutant_.description += ": bits " + std::to_string(count);
  }

  void ChangeBytes() {
    std::string& bytes = *mutant_.bytes;
    if (bytes.empty()) return;
    const std::size_t first = ChooseOffset();
    StandAt(first);
    const std::size_t count = std::min(1 + dice_.Below(16), bytes.size() - first);
    for (std::size_t i = 0; i < count; ++i)
      bytes[first + i] = static_cast<char>(dice_.Roll());
    mutant_.description += ": bytes " + std::to_string(count);
  }

  void Zero(std::size_t size) {
    std::string& bytes = *mutant_.bytes;
    const std::size_t first = dice_.Below((bytes.size() + size - 1) / size) * size;
    StandAt(first);
    const std::size_t count = std::min(size, bytes.size() - first);
    bytes.replace(first, count, count, '\0');
  }

  std::size_t PageCount() const { return mutant_.bytes->size() / pageBytes_; }

  void SwapPages() {
    std::string& bytes = *mutant_.bytes;
    const std::size_t one = dice_.Below(PageCount()) * pageBytes_;
    const std::size_t other = dice_.Below(PageCount()) * pageBytes_;
    StandAt(one);
    mutant_.description += " with page " + std::to_string(other / pageBytes_);
    std::swap_ranges(bytes.begin() + static_cast<std::ptrdiff_t>(one),
                     bytes.begin() + static_cast<std::ptrdiff_t>(one + pageBytes_),
                     bytes.begin() + static_cast<std::ptrdiff_t>(other));
  }

  void PutForeignPage() {
    std::vector<const std::string*> databases;
    for (const SoundStore& store : stores_) {
      for (const auto& [name, bytes] : store.files) {
        if (IsDatabase(name) && PageBytes(bytes) == pageBytes_) databases.push_back(&bytes);
      }
    }
    const std::string& source = *databases[dice_.Below(databases.size())];
    const std::size_t page = dice_.Below(source.size() / pageBytes_);
    const std::size_t target = dice_.Below(PageCount()) * pageBytes_;
    StandAt(target);
    mutant_.description += " becomes page " + std::to_string(page) + " of a database";
    mutant_.bytes->replace(target, pageBytes_, source, page * pageBytes_, pageBytes_);
  }

  void Truncate() {
    const std::size_t size = dice_.Below(mutant_.bytes->size());
    StandAt(size);
    if (IsDatabase(mutant_.file)) mutant_.place = "from some page on";
    mutant_.bytes->resize(size);
  }

  const std::vector<SoundStore>& stores_;
  Dice dice_;
  Mutant mutant_;
  std::size_t pageBytes_ = 0;
};

}  // namespace

const char* NameOf(Damage damage) {
  switch (damage) {
    case Damage::BitFlips:
      return "bit flips";
    case Damage::Bytes:
      return "other bytes";
    case Damage::ZeroedPage:
      return "zeroed page";
    case Damage::ZeroedSector:
      return "zeroed sector";
    case Damage::SwappedPages:
      return "swapped pages";
    case Damage::ForeignPage:
      return "foreign page";
    case Damage::Truncated:
      return "truncated file";
    case Damage::Missing:
      return "missing file";
  }
  return "";
}

Mutant MakeMutant(const std::vector<SoundStore>& stores, std::uint64_t seed, std::uint64_t number) {
  return Mutator(stores, seed, number).Make();
}

std::vector<Flip> ListFlips(const std::vector<SoundStore>& stores,
                            const std::vector<std::string>& kinds) {
  std::vector<Flip> flips;
  const auto addPage = [&](const Flip& first, std::string_view bytes, std::size_t page) {
    for (const auto& [begin, end] : UsedRanges(bytes, page)) {
      for (std::size_t bit = begin * 8; bit < end * 8; ++bit) {
        Flip& flip = flips.emplace_back(first);
        flip.offset = page * PageBytes(bytes) + bit / 8;
        flip.bit = static_cast<unsigned>(bit % 8);
      }
    }
  };
  for (std::size_t store = 0; store < stores.size(); ++store) {
    for (const auto& [name, bytes] : stores[store].files) {
      if (!IsDatabase(name)) continue;
      for (std::size_t page = 0; page < bytes.size() / PageBytes(bytes); ++page) {
        if (std::ranges::find(kinds, DescribePage(bytes, page)) == kinds.end()) continue;
        addPage({.store = store, .file = name, .offset = 0, .bit = 0}, bytes, page);
      }
    }
  }
  return flips;
}

Mutant MakeMutant(const std::vector<SoundStore>& stores, const Flip& flip, std::uint64_t number) {
  Mutant mutant;
  mutant.number = number;
  mutant.store = flip.store;
  mutant.damage = Damage::BitFlips;
  mutant.file = flip.file;
  mutant.bytes = stores[flip.store].files.at(flip.file);
  const std::size_t page = flip.offset / PageBytes(*mutant.bytes);
  mutant.place = DescribePage(*mutant.bytes, page);
  mutant.description = "page " + std::to_string(page) + " byte " +
                       std::to_string(flip.offset % PageBytes(*mutant.bytes)) + " bit " +
                       std::to_string(flip.bit);
  char& byte = (*mutant.bytes)[flip.offset];
  byte = static_cast<char>(byte ^ (1 << flip.bit));
  return mutant;
}

}  // namespace nimport::mutation
