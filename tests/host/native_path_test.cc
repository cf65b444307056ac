#include "host/native_path.h"

#include <gtest/gtest.h>

#include "common/test_directory.h"
#include "host/environment.h"

namespace nimport::host {
namespace {

using tests::ScopedVariable;
using tests::TestDirectory;

TEST(NativePath, FollowsTheDriveMap) {
  const TestDirectory directory;
  directory.Write("disk/NIFTY/表ソ.TXT", "x");
  directory.Write("disk/NIFTY/Ａbc.txt", "x");
  directory.Write("prefix/dosdevices/d:/mail.mdb", "x");
  const std::string disk = directory.str() + "/disk";
  const ScopedVariable drives("NIMPORT_DRIVES", ("c=" + disk + ";Q:=/srv;;x").c_str());
  const ScopedVariable prefix("WINEPREFIX", (directory.str() + "/prefix").c_str());
  const struct {
    const char* path;
    std::string native;
    const char* why;
  } cases[] = {
      {"C:\\NIFTY\\表ソ.TXT", disk + "/NIFTY/表ソ.TXT", "as spelt"},
      {"c:\\nifty\\表ソ.txt", disk + "/NIFTY/表ソ.TXT", "letter case does not count"},
      {"C:\\NIFTY\\ａBC.TXT", disk + "/NIFTY/Ａbc.txt", "nor does it for full-width letters"},
      {"C:/NIFTY\\new.txt", disk + "/NIFTY/new.txt", "need not exist, either separator"},
      {"C:", disk, "a drive alone"},
      {"Q:\\a", "/srv/a", "a colon behind the letter"},
      {"D:\\Mail.mdb", directory.str() + "/prefix/dosdevices/d:/mail.mdb", "Wine's own drives"},
      {"Z:\\tmp", "/tmp", "Z is the root"},
      {"/tmp", "/tmp", "native already"},
      {"E:\\x", "", "not mapped"},
      {"x.txt", "", "relative to nothing"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(NativePath(c.path).string(), c.native) << c.why;
}

}  // namespace
}  // namespace nimport::host
