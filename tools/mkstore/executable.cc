#include "mkstore/executable.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <vector>

#include "jetwriter/byte_writer.h"
#include "jetwriter/text_encoder.h"

namespace nimport::mkstore {
namespace {

using jetwriter::ByteWriter;

constexpr std::uint32_t FILE_ALIGNMENT = 0x200;
constexpr std::uint32_t SECTION_ALIGNMENT = 0x1000;
constexpr std::uint32_t CODE_ADDRESS = 0x1000;  // addresses are relative to the image's base
constexpr std::uint32_t RESOURCE_ADDRESS = 0x2000;
constexpr std::uint32_t IMAGE_BASE = 0x400000;
constexpr std::size_t DOS_HEADER_BYTES = 0x40;
constexpr std::size_t OPTIONAL_HEADER_BYTES = 224;
constexpr std::size_t DATA_DIRECTORIES = 16;
constexpr std::size_t RESOURCE_DIRECTORY = 2;  // its number among them

constexpr std::uint32_t RESOURCE_TYPE_VERSION = 16;
constexpr std::uint32_t LANGUAGE_JAPANESE = 0x0411;
constexpr std::uint32_t CODE_PAGE_UNICODE = 1200;
constexpr std::string_view LANGUAGE_BLOCK = "041104b0";

// xor eax, eax; ret
constexpr std::string_view CODE = "\x31\xC0\xC3";

std::string ToUtf16(std::string_view text) {
  return jetwriter::TextEncoder::ForUtf16().Encode(text).append(2, '\0');
}

std::string Aligned(std::string bytes, std::size_t alignment) {
  bytes.resize((bytes.size() + alignment - 1) / alignment * alignment, '\0');
  return bytes;
}

// A block of a version resource: lengths, type, key, value, then the blocks beneath it.
struct VersionBlock {
  bool isText = true;
  std::uint16_t valueLength = 0;  // of a text in UTF-16 units, else in bytes
  std::string value;
  std::string children;
};

std::string MakeBlock(std::string_view key, const VersionBlock& block) {
  ByteWriter bytes;
  bytes.U16(0);
  bytes.U16(block.valueLength);
  bytes.U16(block.isText ? 1 : 0);
  bytes.Bytes(ToUtf16(key));
  std::string whole = Aligned(bytes.Take(), 4) + block.value;
  if (!block.children.empty()) whole = Aligned(std::move(whole), 4) + block.children;
  whole[0] = static_cast<char>(whole.size() & 0xFF);
  whole[1] = static_cast<char>(whole.size() >> 8);
  return whole;
}

std::string MakeStringBlock(std::string_view name, std::string_view text) {
  const std::string utf16 = ToUtf16(text);
  return Aligned(MakeBlock(name, {.valueLength = static_cast<std::uint16_t>(utf16.size() / 2),
                                  .value = utf16,
                                  .children = {}}),
                 4);
}

// The numbers of a version text: "5, 1, 0, 2" and "5.1.0.2" alike.
std::array<std::uint16_t, 4> ToNumbers(std::string_view text) {
  std::array<std::uint16_t, 4> numbers{};
  for (std::uint16_t& number : numbers) {
    text.remove_prefix(std::min(text.find_first_of("0123456789"), text.size()));
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  }
  return numbers;
}

std::string MakeFixedInfo(std::string_view fileVersion) {
  const auto numbers = ToNumbers(fileVersion);
  const std::uint32_t high = static_cast<std::uint32_t>(numbers[0]) << 16 | numbers[1];
  const std::uint32_t low = static_cast<std::uint32_t>(numbers[2]) << 16 | numbers[3];
  ByteWriter info;
  info.U32(0xFEEF04BD);          // signature
  info.U32(0x00010000);          // version of this structure
  for (int i = 0; i < 2; ++i) {  // of the file and of the product
    info.U32(high);
    info.U32(low);
  }
  info.U32(0x3F);     // which of the flags count
  info.U32(0);        // flags
  info.U32(0x40004);  // for Windows NT, 32 bits
  info.U32(1);        // a program
  info.Zeros(12);     // subtype and date
  return info.Take();
}

std::string MakeVersionResource(std::string_view fileVersion) {
  const std::string strings =
      MakeBlock(LANGUAGE_BLOCK, {.value = {},
                                 .children = MakeStringBlock("FileVersion", fileVersion) +
                                             MakeStringBlock("ProductName", "NIFTY Manager")});
  ByteWriter translation;
  translation.U16(LANGUAGE_JAPANESE);
  translation.U16(CODE_PAGE_UNICODE);
  const std::string languages =
      MakeBlock("Translation",
                {.isText = false, .valueLength = 4, .value = translation.Take(), .children = {}});
  const std::string fixedInfo = MakeFixedInfo(fileVersion);
  return MakeBlock(
      "VS_VERSION_INFO",
      {.isText = false,
       .valueLength = static_cast<std::uint16_t>(fixedInfo.size()),
       .value = fixedInfo,
       .children = Aligned(MakeBlock("StringFileInfo", {.value = {}, .children = strings}), 4) +
                   MakeBlock("VarFileInfo", {.value = {}, .children = languages})});
}

// The tree type, name, language with one entry on each level, and the resource after it.
std::string MakeResourceSection(const std::string& resource) {
  constexpr std::uint32_t DIRECTORY_BYTES = 16 + 8;
  constexpr std::uint32_t IS_DIRECTORY = 0x80000000;
  constexpr std::uint32_t DATA_ENTRY = 3 * DIRECTORY_BYTES;
  constexpr std::uint32_t DATA = DATA_ENTRY + 16;
  constexpr std::array<std::uint32_t, 3> IDS = {RESOURCE_TYPE_VERSION, 1, LANGUAGE_JAPANESE};
  ByteWriter section;
  for (std::uint32_t level = 0; level < IDS.size(); ++level) {
    section.Zeros(12);
    section.U16(0);  // named entries
    section.U16(1);  // numbered entries
    section.U32(IDS[level]);
    const bool isLast = level + 1 == IDS.size();
    section.U32(isLast ? DATA_ENTRY : (level + 1) * DIRECTORY_BYTES | IS_DIRECTORY);
  }
  section.U32(RESOURCE_ADDRESS + DATA);
  section.U32(resource.size());
  section.U32(CODE_PAGE_UNICODE);
  section.U32(0);
  section.Bytes(resource);
  return section.Take();
}

struct Section {
  std::string_view name;
  std::uint32_t address = 0;
  std::uint32_t flags = 0;
  std::string bytes;
};

std::string MakeOptionalHeader(const std::vector<Section>& sections) {
  ByteWriter header;
  header.U16(0x10B);  // 32 bits
  header.U8(6);       // linker version
  header.U8(0);
  header.U32(FILE_ALIGNMENT);  // size of code
  header.U32(sections.size() > 1 ? Aligned(sections[1].bytes, FILE_ALIGNMENT).size() : 0);
  header.U32(0);
  header.U32(CODE_ADDRESS);  // entry point
  header.U32(CODE_ADDRESS);
  header.U32(RESOURCE_ADDRESS);
  header.U32(IMAGE_BASE);
  header.U32(SECTION_ALIGNMENT);
  header.U32(FILE_ALIGNMENT);
  for (const unsigned version : {4U, 0U, 0U, 0U, 4U, 0U})
    header.U16(version);
  header.U32(0);
  const Section& last = sections.back();
  header.U32(last.address + Aligned(last.bytes, SECTION_ALIGNMENT).size());  // size of image
  header.U32(FILE_ALIGNMENT);                                                // size of headers
  header.U32(0);                                                             // checksum
  header.U16(2);                                                             // with windows
  header.U16(0);
  for (const std::uint32_t bytes : {0x100000U, 0x1000U, 0x100000U, 0x1000U})
    header.U32(bytes);
  header.U32(0);
  header.U32(DATA_DIRECTORIES);
  header.PadTo(OPTIONAL_HEADER_BYTES);
  if (sections.size() > 1) {
    const std::size_t at = OPTIONAL_HEADER_BYTES - 8 * (DATA_DIRECTORIES - RESOURCE_DIRECTORY);
    header.SetNumber(at, RESOURCE_ADDRESS, 4);
    header.SetNumber(at + 4, sections[1].bytes.size(), 4);
  }
  return header.Take();
}

std::string MakeHeaders(const std::vector<Section>& sections) {
  ByteWriter file(DOS_HEADER_BYTES);
  file.SetBytes(0, "MZ");
  file.SetNumber(DOS_HEADER_BYTES - 4, DOS_HEADER_BYTES, 4);  // where the next header stands
  file.Bytes(std::string_view("PE\0\0", 4));
  file.U16(0x014C);  // for i386
  file.U16(sections.size());
  file.Zeros(12);  // time and symbols
  file.U16(OPTIONAL_HEADER_BYTES);
  file.U16(0x010F);  // a program, 32 bits, at a fixed address, without symbols
  file.Bytes(MakeOptionalHeader(sections));
  std::uint32_t offset = FILE_ALIGNMENT;
  for (const Section& section : sections) {
    const auto fileBytes =
        static_cast<std::uint32_t>(Aligned(section.bytes, FILE_ALIGNMENT).size());
    std::string name(section.name);
    name.resize(8, '\0');
    file.Bytes(name);
    file.U32(section.bytes.size());
    file.U32(section.address);
    file.U32(fileBytes);
    file.U32(offset);
    file.Zeros(12);
    file.U32(section.flags);
    offset += fileBytes;
  }
  return Aligned(file.Take(), FILE_ALIGNMENT);
}

}  // namespace

std::string MakeExecutable(const std::optional<std::string>& fileVersion) {
  constexpr std::uint32_t READABLE_CODE = 0x60000020;
  constexpr std::uint32_t READABLE_DATA = 0x40000040;
  std::vector<Section> sections = {{".text", CODE_ADDRESS, READABLE_CODE, std::string(CODE)}};
  if (fileVersion) {
    sections.push_back({".rsrc", RESOURCE_ADDRESS, READABLE_DATA,
                        MakeResourceSection(MakeVersionResource(*fileVersion))});
  }
  std::string file = MakeHeaders(sections);
  for (const Section& section : sections)
    file += Aligned(section.bytes, FILE_ALIGNMENT);
  return file;
}

}  // namespace nimport::mkstore
