#include "mkstore/executable.h"

#include <gtest/gtest.h>

#include "mkstore/drives.h"
#include "platform/formats/pe_version_resource.h"
#include "tests/tools/engine_reader.h"

namespace nimport::mkstore {
namespace {

std::optional<std::u16string> ReadFileVersion(const std::optional<std::string>& version) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / "x.exe";
  WriteFile(path, MakeExecutable(version));
  const auto file = platform::SystemPlatform().files().OpenForReading(path.string());
  return platform::FindFileVersion(*file);
}

// The platform's reader knows nothing of this writer.
TEST(MakeExecutable, HoldsTheVersion) {
  EXPECT_EQ(ReadFileVersion("5, 1, 0, 2"), u"5, 1, 0, 2");
  EXPECT_EQ(ReadFileVersion("4.99"), u"4.99");
  EXPECT_EQ(ReadFileVersion("版 5"), u"版 5");
  EXPECT_EQ(ReadFileVersion(""), u"");
  EXPECT_EQ(ReadFileVersion(std::nullopt), std::nullopt);
}

std::uint32_t U32At(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i))) << (8 * i);
  }
  return value;
}

// What the loader of Windows looks at, by offsets of the PE format.
TEST(MakeExecutable, HasSoundHeaders) {
  const std::string file = MakeExecutable("5.0");
  ASSERT_EQ(file.substr(0, 2), "MZ");
  const std::size_t header = U32At(file, 0x3C);
  ASSERT_EQ(file.substr(header, 4), std::string("PE\0\0", 4));
  const std::size_t optional = header + 24;
  EXPECT_EQ(U32At(file, optional + 16), 0x1000U) << "entry point";
  EXPECT_EQ(file.substr(U32At(file, optional + 224 + 20), 3), "\x31\xC0\xC3") << "its code";
  const std::size_t resources = optional + 224 + 40;
  EXPECT_EQ(file.substr(resources, 5), ".rsrc");
  EXPECT_EQ(U32At(file, optional + 96 + 16), U32At(file, resources + 12)) << "resource directory";
  EXPECT_EQ(file.size(), U32At(file, resources + 16) + U32At(file, resources + 20));
  EXPECT_EQ(file.size() % 512, 0U);
}

}  // namespace
}  // namespace nimport::mkstore
