// What the fuzz targets once found worth keeping, given to them again.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

using Target = int(const std::uint8_t* data, std::size_t size);
extern "C" Target date_fuzz, header_scan_fuzz, mime_fuzz, query_fuzz, registry_fuzz,
    related_parts_fuzz, version_resource_fuzz;

namespace nimport::tests {
namespace {

struct Replay {
  const char* name;
  Target* run;
};

class FuzzInputs : public testing::TestWithParam<Replay> {};

TEST_P(FuzzInputs, AreRead) {
  namespace fs = std::filesystem;
  int count = 0;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(NIMPORT_CORPUS "/" + std::string(GetParam().name) + "_fuzz")) {
    SCOPED_TRACE(entry.path());
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(GetParam().run(reinterpret_cast<const std::uint8_t*>(input.data()), input.size()), 0);
    ++count;
  }
  EXPECT_GT(count, 0);
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzInputs,
                         testing::Values(Replay{"date", date_fuzz},
                                         Replay{"header_scan", header_scan_fuzz},
                                         Replay{"mime", mime_fuzz}, Replay{"query", query_fuzz},
                                         Replay{"registry", registry_fuzz},
                                         Replay{"related_parts", related_parts_fuzz},
                                         Replay{"version_resource", version_resource_fuzz}),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace nimport::tests
