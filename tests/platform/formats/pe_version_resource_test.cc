#include "platform/formats/pe_version_resource.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/memory_file.h"
#include "mkstore/executable.h"

namespace nimport::platform {
namespace {

// Where things are in the file, and in its section of resources the data entry and the data.
constexpr std::size_t OPTIONAL_HEADER = 0x40 + 24;
constexpr std::size_t RESOURCE_SECTION_HEADER = OPTIONAL_HEADER + 224 + 40;
constexpr std::size_t SECTION = 0x400;
constexpr std::size_t NAME_LEADS_TO = 24 + 16 + 4;
constexpr std::size_t DATA_ENTRY = 72;
constexpr std::size_t DATA = 88;
constexpr std::uint32_t ADDRESS = 0x2000;

std::uint32_t Number(const std::string& bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;)
    number = number << 8 | static_cast<unsigned char>(bytes.at(at + i));
  return number;
}

std::string Bytes(std::uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i)
    bytes += static_cast<char>(number >> 8 * i);
  return bytes;
}

std::string Utf16(const std::string& ascii) {
  std::string text;
  for (const char character : ascii)
    text.append(1, character).append(1, '\0');
  return text;
}

// The executable of mkstore, which has a version in Japanese, with another text in its resource.
std::string Executable(const std::string& version, const std::string& text = "",
                       const std::string& instead = "") {
  std::string file = mkstore::MakeExecutable(version);
  const std::size_t at = file.find(Utf16(text), SECTION + DATA);
  return file.replace(at, 2 * text.size(), Utf16(instead));
}

// The same for 64 bits: what names the sections' places comes 16 bytes later.
std::string For64Bits(std::string file) {
  const std::string directories = file.substr(OPTIONAL_HEADER + 92, 4 + 14 * 8);
  file.replace(OPTIONAL_HEADER, 2, "\x0B\x02");
  return file.replace(OPTIONAL_HEADER + 108, directories.size(), directories);
}

// `file` with the version resource of `first`, in English, before its own.
std::string WithTwo(std::string file, const std::string& first) {
  const auto directory = static_cast<std::uint32_t>(file.size() - SECTION);
  const std::uint32_t entry = directory + 16 + 2 * 8;
  const std::uint32_t size = Number(first, SECTION + DATA_ENTRY + 4);
  file += std::string(14, '\0') + std::string("\2\0", 2) + Bytes(0x409) + Bytes(entry) +
          Bytes(0x411) + Bytes(DATA_ENTRY) + Bytes(ADDRESS + entry + 8) + Bytes(size) +
          first.substr(SECTION + DATA, size);
  const std::string sectionSize = Bytes(static_cast<std::uint32_t>(file.size() - SECTION));
  file.replace(SECTION + NAME_LEADS_TO, 4, Bytes(directory | 0x80000000));
  file.replace(RESOURCE_SECTION_HEADER + 8, 4, sectionSize);
  return file.replace(RESOURCE_SECTION_HEADER + 16, 4, sectionSize);
}

std::optional<std::u16string> Find(const std::string& file) {
  const auto* bytes = reinterpret_cast<const std::byte*>(file.data());
  return FindFileVersion(MemoryFile("x.exe", std::vector(bytes, bytes + file.size())));
}

TEST(PeVersionResource, FindsTheJapaneseVersion) {
  const std::string japanese = Executable("5.0");
  const std::string english = Executable("4.0", "041104b0", "040904b0");
  const struct {
    std::string file;
    std::optional<std::u16string> wanted;
    const char* why;
  } cases[] = {
      {Executable("5, 0, 0, 1"), u"5, 0, 0, 1", "32 bits"},
      {For64Bits(Executable("5, 0, 0, 1")), u"5, 0, 0, 1", "64 bits"},
      {Executable("5.1", "041104b0", "041104B0"), u"5.1", "letter case"},
      {Executable("5.1", "FileVersion", "fileversion"), u"5.1", "letter case"},
      {Executable(""), u"", "an empty text"},
      {WithTwo(japanese, english), u"5.0", "English comes first"},
      {WithTwo(japanese, Executable("4.0")), u"5.0", "English, with a Japanese table"},
      {WithTwo(english, japanese), u"5.0", "only the English one has it"},
      {WithTwo(japanese, std::string(2000, '\0')), u"5.0", "the other one is damaged"},
      {"", std::nullopt, "an empty file"},
      {std::string(5000, 'x'), std::nullopt, "any file"},
      {mkstore::MakeExecutable(std::nullopt), std::nullopt, "no resource"},
      {Executable("5", "FileVersion", "FileVersioX"), std::nullopt, "no such text"},
      {Executable("5", "041104b0", "041103a4"), std::nullopt, "not in Unicode"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Find(c.file), c.wanted) << c.why;
}

// Each byte of the headers and of the resource, turned over and cut: an answer or none, never a
// read beyond the file or an endless walk.
TEST(PeVersionResource, DamageIsNoAnswer) {
  const std::string whole = Executable("5.0");
  const std::size_t end = SECTION + DATA + Number(whole, SECTION + DATA_ENTRY + 4);
  std::size_t unharmed = 0;
  for (std::size_t i = 0; i < end; ++i) {
    EXPECT_EQ(Find(whole.substr(0, i)), std::nullopt) << i;
    for (const int damage : {whole[i] ^ 0x01, whole[i] ^ 0x80, whole[i] ^ 0xFF, 0}) {
      std::string bent = whole;
      bent[i] = static_cast<char>(damage);
      unharmed += Find(bent) == u"5.0" ? 1 : 0;
    }
  }
  EXPECT_GT(unharmed, 0u);
  EXPECT_LT(unharmed, 4 * end);
}

TEST(PeVersionResource, ReadsLittleOfALargeFile) {
  auto contents = std::make_shared<MemoryFileContents>();
  for (const char byte : Executable("5.0"))
    contents->bytes.push_back(static_cast<std::byte>(byte));
  contents->bytes.resize(std::size_t{8} << 20);
  EXPECT_EQ(FindFileVersion(MemoryFile("x.exe", contents)), u"5.0");
  EXPECT_LT(contents->bytesRead, 4096u);
  contents->failFrom = SECTION;
  EXPECT_THROW((void)FindFileVersion(MemoryFile("x.exe", contents)), FileError);
}

}  // namespace
}  // namespace nimport::platform
