#include "platform/formats/pe_version_resource.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/memory_file.h"

namespace nimport::platform {
namespace {

using Bytes = std::vector<std::byte>;

// Writes bytes one after the other, or over those that are there.
class Image {
 public:
  Bytes bytes;

  void Put(std::size_t offset, std::uint64_t value, std::size_t sizeBytes) {
    if (bytes.size() < offset + sizeBytes) bytes.resize(offset + sizeBytes);
    for (std::size_t i = 0; i < sizeBytes; ++i) {
      bytes[offset + i] = static_cast<std::byte>(value >> 8 * i);
    }
  }
  void Add16(std::uint64_t value) { Put(bytes.size(), value, 2); }
  void AddText(std::u16string_view text) {
    for (const char16_t unit : text)
      Add16(unit);
    Add16(0);
  }
  void Align() { bytes.resize((bytes.size() + 3) / 4 * 4); }
  void Add(const Bytes& more) {
    Align();
    bytes.insert(bytes.end(), more.begin(), more.end());
  }
};

// A node as the resource compiler lays it out.
Bytes Node(std::u16string_view name, const Bytes& value, std::uint64_t valueLength,
           const std::vector<Bytes>& children) {
  Image node;
  node.Add16(0);
  node.Add16(valueLength);
  node.Add16(1);
  node.AddText(name);
  if (!value.empty()) node.Add(value);
  for (const Bytes& child : children)
    node.Add(child);
  node.Put(0, node.bytes.size(), 2);
  return node.bytes;
}

Bytes TextNode(std::u16string_view name, std::u16string_view text) {
  Image value;
  value.AddText(text);
  return Node(name, value.bytes, text.size() + 1, {});
}

Bytes VersionOf(std::u16string_view block, const std::vector<Bytes>& texts) {
  const Bytes fixedInfo(52, std::byte{0x77});
  return Node(u"VS_VERSION_INFO", fixedInfo, fixedInfo.size(),
              {Node(u"VarFileInfo", {}, 0, {}),
               Node(u"StringFileInfo", {}, 0,
                    {Node(u"040904e4", {}, 0, {TextNode(u"FileVersion", u"1.0")}),
                     Node(block, {}, 0, texts)})});
}

constexpr std::size_t SECTION = 0x400;  // in the file
constexpr std::size_t ADDRESS = 0x3000;
constexpr std::size_t DATA = 0x100;  // of the resource, in its section

// An executable with nothing but a resource section. With `first`, a version resource of that
// language stands before the Japanese one.
Bytes Executable(const Bytes& version, bool is64Bit = false, const Bytes& first = {},
                 std::uint64_t firstLanguage = 0x409) {
  constexpr std::size_t HEADER = 0x80;
  constexpr std::size_t OPTIONAL = HEADER + 24;
  const std::size_t directories = OPTIONAL + (is64Bit ? 112 : 96);
  Image image;
  image.Put(0, 0x5A4D, 2);
  image.Put(0x3C, HEADER, 4);
  image.Put(HEADER, 0x4550, 4);
  image.Put(HEADER + 6, 1, 2);  // sections
  image.Put(HEADER + 20, directories + 128 - OPTIONAL, 2);
  image.Put(OPTIONAL, is64Bit ? 0x20B : 0x10B, 2);
  image.Put(directories - 4, 16, 4);
  image.Put(directories + 16, ADDRESS, 4);
  const std::size_t section = directories + 128;
  image.Put(section + 8, 0x2000, 4);
  image.Put(section + 12, ADDRESS, 4);
  image.Put(section + 16, DATA + version.size() + 4 + first.size(), 4);
  image.Put(section + 20, SECTION, 4);
  // Three directories, of type, name and language, and the data entry after them.
  image.Put(SECTION + 14, 2, 2);
  image.Put(SECTION + 16, 3, 4);  // an icon comes first
  image.Put(SECTION + 20, 0x80000040, 4);
  image.Put(SECTION + 24, 16, 4);
  image.Put(SECTION + 28, 0x80000040, 4);
  image.Put(SECTION + 0x40 + 14, 1, 2);
  image.Put(SECTION + 0x40 + 20, 0x80000060, 4);
  const std::size_t languages = first.empty() ? 1 : 2;
  const std::size_t japanese = SECTION + 0x60 + 16 + (languages - 1) * 8;
  image.Put(SECTION + 0x60 + 14, languages, 2);
  image.Put(SECTION + 0x60 + 16, firstLanguage, 4);
  image.Put(SECTION + 0x60 + 20, 0xA0, 4);
  image.Put(japanese, 0x411, 4);
  image.Put(japanese + 4, 0x90, 4);
  image.Put(SECTION + 0x90, ADDRESS + DATA, 4);
  image.Put(SECTION + 0x94, version.size(), 4);
  image.bytes.resize(SECTION + DATA);
  image.Add(version);
  image.Align();
  image.Put(SECTION + 0xA0, ADDRESS + image.bytes.size() - SECTION, 4);
  image.Put(SECTION + 0xA4, first.size(), 4);
  image.Add(first);
  return image.bytes;
}

std::optional<std::u16string> Find(Bytes bytes) {
  return FindFileVersion(MemoryFile("x.exe", std::move(bytes)));
}

TEST(PeVersionResourceTest, FindsTheJapaneseVersion) {
  const Bytes version = VersionOf(
      u"041104b0", {TextNode(u"CompanyName", u"x"), TextNode(u"FileVersion", u"5, 0, 0, 1"),
                    TextNode(u"Comments", u"y")});
  EXPECT_EQ(Find(Executable(version)), u"5, 0, 0, 1");
  EXPECT_EQ(Find(Executable(version, true)), u"5, 0, 0, 1");
  EXPECT_EQ(Find(Executable(VersionOf(u"041104B0", {TextNode(u"fileversion", u"5.1")}))), u"5.1");
  EXPECT_EQ(Find(Executable(VersionOf(u"041104b0", {TextNode(u"FileVersion", u"")}))), u"");
}

TEST(PeVersionResourceTest, OfSeveralLanguagesJapaneseCounts) {
  const Bytes japanese = VersionOf(u"041104b0", {TextNode(u"FileVersion", u"5.0")});
  const Bytes english = VersionOf(u"040904b0", {TextNode(u"FileVersion", u"4.0")});
  const Bytes both = VersionOf(u"041104b0", {TextNode(u"FileVersion", u"4.0")});
  EXPECT_EQ(Find(Executable(japanese, false, english)), u"5.0") << "English comes first";
  EXPECT_EQ(Find(Executable(japanese, false, both)), u"5.0") << "English, with a Japanese table";
  EXPECT_EQ(Find(Executable(english, false, japanese)), u"5.0") << "only the English one has it";
  EXPECT_EQ(Find(Executable(japanese, false, Bytes(8))), u"5.0") << "the other one is damaged";
}

TEST(PeVersionResourceTest, OtherFilesHaveNone) {
  EXPECT_EQ(Find({}), std::nullopt);
  EXPECT_EQ(Find(Bytes(5000, std::byte{'x'})), std::nullopt);
  EXPECT_EQ(Find(Executable({})), std::nullopt);
  EXPECT_EQ(Find(Executable(VersionOf(u"041104b0", {TextNode(u"ProductVersion", u"5")}))),
            std::nullopt);
  EXPECT_EQ(Find(Executable(VersionOf(u"041103a4", {TextNode(u"FileVersion", u"5")}))),
            std::nullopt);
}

// Each byte of the headers and of the resource, turned over and cut: an answer or none, never a
// read beyond the file or an endless walk.
TEST(PeVersionResourceTest, DamageIsNoAnswer) {
  const Bytes whole = Executable(VersionOf(u"041104b0", {TextNode(u"FileVersion", u"5.0")}));
  int unharmed = 0;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    EXPECT_EQ(Find(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i))),
              std::nullopt)
        << i;
    const auto byte = std::to_integer<unsigned>(whole[i]);
    for (const unsigned damage : {byte ^ 0x01u, byte ^ 0x80u, byte ^ 0xFFu, 0u}) {
      Bytes bent = whole;
      bent[i] = static_cast<std::byte>(damage);
      unharmed += Find(bent) == u"5.0" ? 1 : 0;
    }
  }
  EXPECT_GT(unharmed, 0);
  EXPECT_LT(unharmed, static_cast<int>(4 * whole.size()));
}

TEST(PeVersionResourceTest, ReadsLittleOfALargeFile) {
  auto contents = std::make_shared<MemoryFileContents>();
  contents->bytes = Executable(VersionOf(u"041104b0", {TextNode(u"FileVersion", u"5.0")}));
  contents->bytes.resize(std::size_t{8} << 20);
  EXPECT_EQ(FindFileVersion(MemoryFile("x.exe", contents)), u"5.0");
  EXPECT_LT(contents->bytesRead, 4096u);
  contents->failFrom = SECTION;
  EXPECT_THROW((void)FindFileVersion(MemoryFile("x.exe", contents)), FileError);
}

}  // namespace
}  // namespace nimport::platform
