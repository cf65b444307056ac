#include "platform/formats/pe_version_resource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "text/letter_case.h"

namespace nimport::platform {
namespace {

// Places in a PE file, in bytes from the start of the structure that they are in.
constexpr std::uint64_t DOS_SIGNATURE = 0x5A4D;     // "MZ" at 0
constexpr std::uint64_t DOS_PE_OFFSET = 0x3C;       // 4 bytes: where the PE header begins
constexpr std::uint64_t PE_SIGNATURE = 0x00004550;  // "PE\0\0" at 0
constexpr std::uint64_t PE_SECTION_COUNT = 6;
constexpr std::uint64_t PE_OPTIONAL_HEADER_SIZE = 20;
constexpr std::uint64_t PE_OPTIONAL_HEADER = 24;
constexpr std::uint64_t MAGIC_32 = 0x10B;
constexpr std::uint64_t MAGIC_64 = 0x20B;
constexpr std::uint64_t DATA_DIRECTORIES_32 = 96;  // in the optional header
constexpr std::uint64_t DATA_DIRECTORIES_64 = 112;
constexpr std::uint64_t RESOURCE_DIRECTORY = 2 * 8;  // third entry of eight bytes
constexpr std::uint64_t SECTION_SIZE = 40;
constexpr std::uint64_t SECTION_VIRTUAL_SIZE = 8;
constexpr std::uint64_t SECTION_ADDRESS = 12;
constexpr std::uint64_t SECTION_RAW_SIZE = 16;
constexpr std::uint64_t SECTION_RAW_OFFSET = 20;

// Places in a resource directory.
constexpr std::uint64_t DIRECTORY_NAMED_COUNT = 12;
constexpr std::uint64_t DIRECTORY_ID_COUNT = 14;
constexpr std::uint64_t DIRECTORY_ENTRIES = 16;
constexpr std::uint64_t ENTRY_SIZE = 8;
constexpr std::uint64_t IS_DIRECTORY = 0x80000000;
constexpr std::uint64_t RESOURCE_TYPE_VERSION = 16;
constexpr std::uint64_t LANGUAGE_JAPANESE = 0x0411;

// Limits on what a file claims. Real files have some ten sections and resource types, and a version
// resource of about a kilobyte.
constexpr std::uint64_t MAX_SECTIONS = 96;
constexpr std::uint64_t MAX_ENTRIES = 4096;
constexpr std::uint64_t MAX_RESOURCE_BYTES = 64 * 1024;
// One for each language that Windows knows would be some two hundred.
constexpr std::size_t MAX_VERSION_RESOURCES = 256;

// The file is not what we look for, or it ends early.
struct NotFound {};

std::uint64_t LittleEndian(std::span<const std::byte> bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;)
    value = value << 8 | std::to_integer<unsigned>(bytes[i]);
  return value;
}

// Finds the version resources. Throws NotFound.
class ExecutableReader {
 public:
  explicit ExecutableReader(const RandomAccessFile& file) : file_(file) {}

  // Where the data entries of the version resources are, the Japanese one first, the others in the
  // file's order. A program in several languages has one for each.
  std::vector<std::uint64_t> FindVersionResources() {
    ReadSections();
    std::vector<std::uint64_t> japanese;
    std::vector<std::uint64_t> others;
    for (const Entry& name : Entries(DirectoryOf(FindEntry(0, RESOURCE_TYPE_VERSION)))) {
      for (const Entry& language : Entries(DirectoryOf(name.leadsTo))) {
        if ((language.leadsTo & IS_DIRECTORY) != 0) continue;
        (language.id == LANGUAGE_JAPANESE ? japanese : others).push_back(language.leadsTo);
        if (japanese.size() + others.size() >= MAX_VERSION_RESOURCES) break;
      }
    }
    japanese.insert(japanese.end(), others.begin(), others.end());
    return japanese;
  }

  [[nodiscard]] std::vector<std::byte> ReadResource(std::uint64_t dataEntry) const {
    const std::uint64_t dataAddress = Number(ResourceOffset(dataEntry), 4);
    const std::uint64_t size = Number(ResourceOffset(dataEntry + 4), 4);
    if (size > MAX_RESOURCE_BYTES) throw NotFound();
    std::vector<std::byte> bytes(static_cast<std::size_t>(size));
    Read(FileOffset(dataAddress), bytes);
    return bytes;
  }

 private:
  struct Section {
    std::uint64_t address;
    std::uint64_t size;
    std::uint64_t fileOffset;
  };
  struct Entry {
    std::uint64_t id;
    std::uint64_t leadsTo;
  };

  void Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    if (file_.ReadAt(offset, bytes) != bytes.size()) throw NotFound();
  }

  [[nodiscard]] std::uint64_t Number(std::uint64_t offset, std::size_t sizeBytes) const {
    std::byte bytes[4];
    Read(offset, std::span(bytes, sizeBytes));
    return LittleEndian(std::span(bytes, sizeBytes));
  }

  void ReadSections() {
    if (Number(0, 2) != DOS_SIGNATURE) throw NotFound();
    const std::uint64_t header = Number(DOS_PE_OFFSET, 4);
    if (Number(header, 4) != PE_SIGNATURE) throw NotFound();
    const std::uint64_t optional = header + PE_OPTIONAL_HEADER;
    const std::uint64_t magic = Number(optional, 2);
    if (magic != MAGIC_32 && magic != MAGIC_64) throw NotFound();
    const std::uint64_t directories =
        optional + (magic == MAGIC_32 ? DATA_DIRECTORIES_32 : DATA_DIRECTORIES_64);
    if (Number(directories - 4, 4) <= RESOURCE_DIRECTORY / 8) throw NotFound();
    resources_ = Number(directories + RESOURCE_DIRECTORY, 4);
    if (resources_ == 0) throw NotFound();

    const std::uint64_t count = std::min(Number(header + PE_SECTION_COUNT, 2), MAX_SECTIONS);
    std::uint64_t section = optional + Number(header + PE_OPTIONAL_HEADER_SIZE, 2);
    for (std::uint64_t i = 0; i < count; ++i, section += SECTION_SIZE) {
      // What lies beyond the smaller of the two sizes is not in the file or not in memory.
      const std::uint64_t virtualSize = Number(section + SECTION_VIRTUAL_SIZE, 4);
      const std::uint64_t rawSize = Number(section + SECTION_RAW_SIZE, 4);
      sections_.push_back({.address = Number(section + SECTION_ADDRESS, 4),
                           .size = virtualSize == 0 ? rawSize : std::min(virtualSize, rawSize),
                           .fileOffset = Number(section + SECTION_RAW_OFFSET, 4)});
    }
  }

  [[nodiscard]] std::uint64_t FileOffset(std::uint64_t address) const {
    for (const Section& section : sections_) {
      if (address >= section.address && address - section.address < section.size) {
        return section.fileOffset + (address - section.address);
      }
    }
    throw NotFound();
  }

  // Offsets in the resource section count from its directory's start.
  [[nodiscard]] std::uint64_t ResourceOffset(std::uint64_t offset) const {
    return FileOffset(resources_ + offset);
  }

  [[nodiscard]] static std::uint64_t DirectoryOf(std::uint64_t entry) {
    if ((entry & IS_DIRECTORY) == 0) throw NotFound();
    return entry & ~IS_DIRECTORY;
  }

  [[nodiscard]] std::vector<Entry> Entries(std::uint64_t directory) const {
    const std::uint64_t count = Number(ResourceOffset(directory + DIRECTORY_NAMED_COUNT), 2) +
                                Number(ResourceOffset(directory + DIRECTORY_ID_COUNT), 2);
    std::vector<Entry> entries;
    for (std::uint64_t i = 0; i < std::min(count, MAX_ENTRIES); ++i) {
      const std::uint64_t entry = directory + DIRECTORY_ENTRIES + i * ENTRY_SIZE;
      entries.push_back({.id = Number(ResourceOffset(entry), 4),
                         .leadsTo = Number(ResourceOffset(entry + 4), 4)});
    }
    return entries;
  }

  // What the entry `id` of a directory leads to.
  [[nodiscard]] std::uint64_t FindEntry(std::uint64_t directory, std::uint64_t id) const {
    for (const Entry& entry : Entries(directory)) {
      if (entry.id == id) return entry.leadsTo;
    }
    throw NotFound();
  }

  const RandomAccessFile& file_;
  std::uint64_t resources_ = 0;  // address of the resource section
  std::vector<Section> sections_;
};

// One node of a version resource: length, value length and type in two bytes each, a name, a value,
// and below them further nodes; each part begins at a multiple of four bytes.
class VersionNode {
 public:
  // The node at the start of `bytes`, and no more than it claims. Throws NotFound.
  explicit VersionNode(std::span<const std::byte> bytes) {
    if (bytes.size() < NAME) throw NotFound();
    const std::uint64_t length = LittleEndian(bytes.first(2));
    if (length < NAME || length > bytes.size()) throw NotFound();
    bytes_ = bytes.first(static_cast<std::size_t>(length));
    valueLength_ = static_cast<std::size_t>(LittleEndian(bytes.subspan(2, 2)));
    name_ = TextAt(NAME);
    valueOffset_ = Aligned(NAME + (name_.size() + 1) * sizeof(char16_t));
  }

  [[nodiscard]] const std::u16string& name() const { return name_; }

  // The value as text, up to its first NUL.
  [[nodiscard]] std::u16string Text() const {
    return valueLength_ == 0 ? std::u16string() : TextAt(valueOffset_);
  }

  // The node below this one with that name, letter case apart. `valueBytes` is the size of this
  // node's own value. Throws NotFound.
  [[nodiscard]] VersionNode Find(std::u16string_view name, std::size_t valueBytes) const {
    std::size_t offset = Aligned(valueOffset_ + valueBytes);
    while (offset < bytes_.size()) {
      VersionNode child(bytes_.subspan(offset));
      if (text::FoldCase(child.name_) == text::FoldCase(name)) return child;
      offset = Aligned(offset + child.bytes_.size());
    }
    throw NotFound();
  }

  // The size of a value that is data. (That of a text is counted in bytes by some tools, in
  // characters by others.)
  [[nodiscard]] std::size_t DataBytes() const { return valueLength_; }

 private:
  static constexpr std::size_t NAME = 6;

  static constexpr std::size_t Aligned(std::size_t offset) { return (offset + 3) / 4 * 4; }

  [[nodiscard]] std::u16string TextAt(std::size_t offset) const {
    std::u16string text;
    for (; offset + 1 < bytes_.size(); offset += 2) {
      const auto unit = static_cast<char16_t>(LittleEndian(bytes_.subspan(offset, 2)));
      if (unit == 0) break;
      text += unit;
    }
    return text;
  }

  std::span<const std::byte> bytes_;
  std::u16string name_;
  std::size_t valueLength_ = 0;
  std::size_t valueOffset_ = 0;
};

std::u16string TextOf(std::span<const std::byte> resource) {
  const VersionNode root(resource);
  if (root.name() != u"VS_VERSION_INFO") throw NotFound();
  return root.Find(u"StringFileInfo", root.DataBytes())
      .Find(u"041104b0", 0)
      .Find(u"FileVersion", 0)
      .Text();
}

}  // namespace

std::optional<std::u16string> FindFileVersion(const RandomAccessFile& file) {
  std::vector<std::uint64_t> dataEntries;
  ExecutableReader reader(file);
  try {
    dataEntries = reader.FindVersionResources();
  } catch (const NotFound&) {
    return std::nullopt;
  }
  for (const std::uint64_t dataEntry : dataEntries) {
    try {
      return TextOf(reader.ReadResource(dataEntry));
    } catch (const NotFound&) {
      // Another language's may have it.
    }
  }
  return std::nullopt;
}

}  // namespace nimport::platform
