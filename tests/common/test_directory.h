#ifndef NIMPORT_TESTS_COMMON_TEST_DIRECTORY_H_
#define NIMPORT_TESTS_COMMON_TEST_DIRECTORY_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

namespace nimport::tests {

// A fresh directory that goes away with all that it contains.
class TestDirectory {
 public:
  TestDirectory()
      : path_(std::filesystem::temp_directory_path() /
              ("nimport-test-" + std::to_string(std::random_device()()))) {
    if (!std::filesystem::create_directory(path_)) throw std::runtime_error("no test directory");
  }
  ~TestDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] std::string str() const { return path_.string(); }

  // Writes a file, and the directories that lead to it. Answers its path.
  std::string Write(const std::string& name, std::string_view content) const {
    const std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary).write(content.data(), std::ssize(content));
    return file.string();
  }

  [[nodiscard]] std::string Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMON_TEST_DIRECTORY_H_
