// The system's own file system on files that a test makes.
#ifndef NIMPORT_TESTS_PLATFORM_FILE_SYSTEM_FIXTURE_H_
#define NIMPORT_TESTS_PLATFORM_FILE_SYSTEM_FIXTURE_H_

#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/fake_platform.h"
#include "common/test_directory.h"
#include "plugin/plug_in.h"

namespace nimport::tests {

// The system's part; posix/ and windows/ provide it.

// Sets when a file was last written, though somebody may have it open for himself.
void SetAge(const std::filesystem::path& file, int minutes);

// Expects that only this process's user can enter the directory.
void ExpectPrivate(const std::filesystem::path& directory);

// Has drive Q at "disk" and the place for temporary files at "tmp", both in the test's directory.
class FileSystemFixture : public testing::Test {
 protected:
  FileSystemFixture() {
    std::filesystem::create_directory(tmp_);
    UseTemporaryPlace(tmp_.string());
    platform_->settings["NIMPORT_DRIVES"] = "Q=" + directory_.str() + "/disk";
  }

  void UseTemporaryPlace(const std::string& place) {
    platform_->settings["TMPDIR"] = platform_->settings["TMP"] = place;
  }

  platform::FileSystem& files() { return platform_->system().files(); }
  // A path of this machine beneath the test's directory, in code page 932.
  [[nodiscard]] std::string Path(std::string_view name) const {
    return test::HostPath(directory_.path()) + "\\" + std::string(name);
  }
  std::filesystem::path Native(const std::string& path) { return files().NativeName(path); }
  void Write(const std::string& path, std::string_view contents) {
    const std::unique_ptr<platform::OutputFile> file = files().OpenForWriting(path);
    file->Write(std::as_bytes(std::span(contents)));
    file->Close();
  }
  std::string Read(const std::string& path) {
    return platform::ReadWholeFile(*files().OpenForReading(path));
  }
  // The files in the test's directory with their contents, and the directories.
  [[nodiscard]] std::map<std::string, std::string> Listing() const {
    std::map<std::string, std::string> listing;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
      const std::string name = std::filesystem::relative(entry.path(), directory_.path()).string();
      listing[name] = entry.is_regular_file() ? directory_.Read(name) : "";
    }
    return listing;
  }

  // What a killed process of ours leaves: the file "mail", and a lock that lists it.
  std::filesystem::path MakeLeftover(const std::string& name, int minutes = 60,
                                     std::string_view list = {"mail", 5}) const {
    directory_.Write("tmp/" + name + "/mail", "");
    directory_.Write("tmp/" + name + "/.nimport-lock", list);
    std::filesystem::permissions(tmp_ / name, std::filesystem::perms::owner_all);
    SetAge(tmp_ / name / ".nimport-lock", minutes);
    return tmp_ / name;
  }

  TestDirectory directory_;
  std::filesystem::path tmp_ = directory_.path() / "tmp";
  std::unique_ptr<FakePlatform> platform_ = std::make_unique<FakePlatform>();
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_PLATFORM_FILE_SYSTEM_FIXTURE_H_
