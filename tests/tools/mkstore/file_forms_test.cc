// The files of a store beside its databases: the registry, the executable, the encodings of mails.
#include <gtest/gtest.h>

#include "jetwriter/write_error.h"
#include "mkstore/drives.h"
#include "mkstore/encodings.h"
#include "mkstore/executable.h"
#include "mkstore/registry_file.h"
#include "platform/formats/pe_version_resource.h"
#include "platform/formats/registry_text.h"
#include "platform/platform.h"
#include "tests/common/test_directory.h"

namespace nimport::mkstore {
namespace {

TEST(ToCharset, AsMailSoftwareOfTheTimeMeansThem) {
  const struct {
    const char* charset;
    const char* text;
    const char* wanted;
  } CASES[] = {
      {"iso-2022-jp", "A亜B", "A\x1B$B0!\x1B(BB"},
      {"ISO-2022-JP", "①", "\x1B$B-!\x1B(B"},   // row 13
      {"iso-2022-jp", "ｱ", "\x1B(I1\x1B(B"},    // single-byte katakana
      {"iso-2022-jp", "髙", "\x1B$B|b\x1B(B"},  // IBM's, in row 92: cells EE E0
      {"iso-2022-jp", "ⅰ", "\x1B$B|q\x1B(B"},   // EE EF
      {"shift_jis", "髙①", "\xFB\xFC\x87\x40"},
      {"euc-jp", "ｱ①", "\x8E\xB1\xAD\xA1"},
      {"utf-8", "表", "表"},
      {"iso-8859-1", "é", "\xE9"},
  };
  for (const auto& row : CASES)
    EXPECT_EQ(ToCharset(row.text, row.charset), row.wanted) << row.text;
  EXPECT_THROW((void)ToCharset("é", "iso-2022-jp"), jetwriter::WriteError);
  EXPECT_THROW((void)ToCharset("x", "no-such-charset"), jetwriter::WriteError);
}

TEST(Encodings, OfContents) {
  EXPECT_EQ(DecodeBase64("YW\r\nI="), "ab");
  EXPECT_EQ(DecodeBase64("Y!"), std::nullopt);
  EXPECT_EQ(DecodeHex("00fF"), std::string("\x00\xFF", 2));
  EXPECT_EQ(DecodeHex("0"), std::nullopt);
}

TEST(ToEncodedWords, KeepsWordsWithinTheirLimit) {
  EXPECT_EQ(ToEncodedWords("亜", "iso-2022-jp", 'B'), "=?iso-2022-jp?B?GyRCMCEbKEI=?=");
  EXPECT_EQ(ToEncodedWords("é x", "iso-8859-1", 'Q'), "=?iso-8859-1?Q?=E9_x?=");
  const std::string words =
      ToEncodedWords(std::string(3 * 40, 'a') + "亜亜亜亜亜亜", "iso-2022-jp", 'B');
  for (std::size_t at = 0; at < words.size();) {
    const std::size_t end = std::min(words.find("\r\n ", at), words.size());
    EXPECT_LE(end - at, 75U);
    at = end + 3;
  }
}

// The platform's reader knows nothing of this writer.
TEST(MakeExecutable, HoldsTheVersion) {
  const tests::TestDirectory folder;
  const struct {
    std::optional<std::string> version;
    std::optional<std::u16string> wanted;
  } CASES[] = {{"5, 1, 0, 2", u"5, 1, 0, 2"}, {"版 5", u"版 5"}, {"", u""}, {{}, {}}};
  for (const auto& row : CASES) {
    const std::string path = folder.Write("x.exe", MakeExecutable(row.version));
    const auto file = platform::SystemPlatform().files().OpenForReading(path);
    EXPECT_EQ(platform::FindFileVersion(*file), row.wanted) << row.version.value_or("none");
  }
}

std::uint32_t U32At(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i))) << (8 * i);
  }
  return value;
}

// What the loader of Windows looks at beside that, by offsets of the PE format.
TEST(MakeExecutable, HasSoundHeaders) {
  const std::string file = MakeExecutable("5.0");
  const std::size_t optional = U32At(file, 0x3C) + 24;
  EXPECT_EQ(U32At(file, optional + 16), 0x1000U) << "entry point";
  EXPECT_EQ(file.substr(U32At(file, optional + 224 + 20), 3), "\x31\xC0\xC3") << "its code";
  const std::size_t resources = optional + 224 + 40;
  EXPECT_EQ(file.size(), U32At(file, resources + 16) + U32At(file, resources + 20));
  EXPECT_EQ(file.size() % 512, 0U);
}

TEST(WriteRegistry, ThePlatformReadsEveryForm) {
  const std::vector<RegistryValue> values = {
      {RegistryHive::LocalMachine, "Software\\A B", "Dir", "C:\\表\\x"},
      {RegistryHive::LocalMachine, "Software\\A B", "Two", "a\"b"},
      {RegistryHive::CurrentUser, "Software\\A B\\S", "ID1", "QZA00123"}};
  const struct {
    RegistryForm form;
    std::string begin;
  } CASES[] = {
      {RegistryForm::Regedit4, "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\A B]\r\n"},
      {RegistryForm::Unicode, {"\xFF\xFEW\0i\0", 6}},
      {RegistryForm::Utf8, "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_"},
      {RegistryForm::Wine, "WINE REGISTRY Version 2\n;; All keys relative to \\\\Machine\n"}};
  for (const auto& row : CASES) {
    const tests::TestDirectory folder;
    const auto files = WriteRegistry(folder.path(), values, row.form, 932);
    const auto find = [&](const std::filesystem::path& file, platform::RegistryHive hive,
                          const char* key, const char* name) {
      const std::string bytes = folder.Read(file.filename().string());
      EXPECT_TRUE(file != files.front() || bytes.starts_with(row.begin));
      return platform::FindRegistryString(bytes, {hive, key, name},
                                          platform::SystemPlatform().text());
    };
    using enum platform::RegistryHive;
    EXPECT_EQ(find(files.front(), LocalMachine, "software\\a b", "dir"), "C:\\\x95\x5C\\x");
    EXPECT_EQ(find(files.front(), LocalMachine, "software\\a b", "two"), "a\"b");
    EXPECT_EQ(find(files.back(), CurrentUser, "software\\a b\\s", "id1"), "QZA00123");
    EXPECT_EQ(files.size(), row.form == RegistryForm::Wine ? 2U : 1U);
  }
}

}  // namespace
}  // namespace nimport::mkstore
