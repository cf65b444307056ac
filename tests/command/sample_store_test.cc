// The export of a complete store against the answers that belong to it.
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "command/tool.h"
#include "common/test_directory.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path SAMPLE = fs::path(NIMPORT_SHARED_SAMPLES) / "demo-jet4";

bool IsMime(const json& mail) {
  const int kind = mail["dataType"];
  return kind == 32 || kind == 33 || kind == 34 || kind == 39;
}

// Subject as a reader should see it: placeholders are none, blanks around it do not count.
json WantedSubject(const json& answers) {
  if (answers["subject"]["code"] != 0) return nullptr;
  std::string text = answers["subject"]["text"];
  if (text == "DEFAULT") return nullptr;
  return text.substr(text.find_first_not_of(' '));
}

json HeaderOf(const json& mail, const std::string& name) {
  for (const json& header : mail["headers"]) {
    if (header[0] == name) return header[1];
  }
  return nullptr;
}

json SubjectOf(const json& mail) {
  const json subject = HeaderOf(mail, "Subject");
  return subject.is_null() ? HeaderOf(mail, "subject") : subject;
}

TEST(SampleStore, ExportHoldsWhatTheStoreHolds) {
  if (!fs::exists(SAMPLE)) GTEST_SKIP() << "no sample store here";
  const TestDirectory directory;
  const ToolResult result = RunProgram(
      {ToolPath().string(), "export", "--to", directory.str(), "--format", "eml", "--registry",
       (SAMPLE / "registry.reg").string(), "--drive", "C=" + (SAMPLE / "c").string(), "--json"});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  std::map<std::string, json> exported;
  for (const json& mail : ReadExport("eml", directory.path())) {
    const std::string file = mail["file"];
    exported[mail["folder"].get<std::string>() + '/' + std::to_string(std::stoi(file))] = mail;
  }
  const json expected = json::parse(std::ifstream(SAMPLE / "expected.json"));
  const json& folders = expected["folders"];
  std::size_t found = 0;
  for (const json& mail : expected["mails"]) {
    const json& folder = folders[mail["folderIndex"].get<std::size_t>()];
    const json& cabinet = folders[folder["parentIndex"].get<std::size_t>()];
    const std::string key = cabinet["shownName"].get<std::string>() + '/' +
                            folder["shownName"].get<std::string>() + '/' +
                            std::to_string(mail["position"].get<int>());
    const json& answers = mail["answers"];
    const auto written = exported.find(key);
    if (written == exported.end()) {
      // Only mails without contents may be missing.
      const bool hasText = answers["source"].value("base64", "") != "" &&
                           answers["source"].value("base64", "") != "DQo=";
      EXPECT_FALSE(hasText) << key << ": " << mail["note"];
      continue;
    }
    ++found;
    if (IsMime(mail)) {
      EXPECT_EQ(written->second["raw"], answers["source"]["base64"]) << key << mail["note"];
      continue;
    }
    if (answers["subject"]["code"] == 0) {
      EXPECT_EQ(SubjectOf(written->second), WantedSubject(answers)) << key << mail["note"];
    }
    const bool isFile = answers["attachedCount"]["value"] == 1;
    if (isFile && answers["attached"][0]["code"] != 0) {
      EXPECT_EQ(HeaderOf(written->second, "X-Nimport-Missing"), "attached file") << key;
    } else if (isFile) {
      EXPECT_EQ(written->second["parts"][0]["base64"], answers["attached"][0]["base64"]) << key;
    }
  }
  EXPECT_EQ(found, exported.size());
  EXPECT_EQ(json::parse(result.out)["written"], found);
}

}  // namespace
}  // namespace nimport::tests
