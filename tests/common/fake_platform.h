// A platform for tests: the system's own parts, on settings and directories of the test's choice,
// each of which can be replaced or made to fail.
#ifndef NIMPORT_TESTS_COMMON_FAKE_PLATFORM_H_
#define NIMPORT_TESTS_COMMON_FAKE_PLATFORM_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/file_error.h"
#include "platform/platform.h"

#if defined(_WIN32)
#include "platform/windows/windows_platform.h"
#else
#include "platform/posix/posix_platform.h"
#endif

namespace nimport::tests {

// Operations on files that can be made to fail.
enum class FileOperation { OpenForReading, Read, OpenForWriting, Write, Close, Remove, Temporary };

// Counts operations and decides which fail.
class FileFaults {
 public:
  // The `nth` such operation from now on (1 is the next) fails; those after it work again.
  void FailNth(FileOperation operation, int nth) { failing_[operation] = counts_[operation] + nth; }
  // All such operations from now on fail.
  void FailAlways(FileOperation operation) { failing_[operation] = ALWAYS; }
  void Clear() { failing_.clear(); }
  [[nodiscard]] int Count(FileOperation operation) { return counts_[operation]; }

  // Counts an operation; whether it is to fail.
  [[nodiscard]] bool Fails(FileOperation operation) {
    const int count = ++counts_[operation];
    const auto failing = failing_.find(operation);
    return failing != failing_.end() && (failing->second == ALWAYS || failing->second == count);
  }

  void Check(FileOperation operation, std::string_view path) {
    if (Fails(operation)) throw FileError(std::string(path) + ": injected fault");
  }

 private:
  static constexpr int ALWAYS = -1;
  std::map<FileOperation, int> counts_;
  std::map<FileOperation, int> failing_;
};

// Another file system with faults. Removing "fails" by leaving the file.
class FaultyFileSystem final : public platform::FileSystem {
 public:
  explicit FaultyFileSystem(platform::FileSystem& files) : files_(files) {}

  FileFaults faults;

  void RequireExists(std::string_view path) const override { files_.RequireExists(path); }

  [[nodiscard]] std::optional<std::uint64_t> FindChangeStamp(std::string_view path) const override {
    return files_.FindChangeStamp(path);
  }

  [[nodiscard]] std::unique_ptr<RandomAccessFile> OpenForReading(
      std::string_view path) const override {
    shared().Check(FileOperation::OpenForReading, path);
    return std::make_unique<InputFile>(files_.OpenForReading(path), shared());
  }

  [[nodiscard]] std::optional<std::uint64_t> FindStoredChangeStamp(
      const platform::StoredPath& path) const override {
    return files_.FindStoredChangeStamp(path);
  }

  [[nodiscard]] std::unique_ptr<RandomAccessFile> OpenStored(
      const platform::StoredPath& path) const override {
    shared().Check(FileOperation::OpenForReading, path.path);
    return std::make_unique<InputFile>(files_.OpenStored(path), shared());
  }

  std::vector<std::string> ListStored(const platform::StoredPath& path,
                                      const StoredVisitor& visit) const override {
    return files_.ListStored(path, visit);
  }

  [[nodiscard]] std::unique_ptr<platform::OutputFile> OpenForWriting(
      std::string_view path) override {
    faults.Check(FileOperation::OpenForWriting, path);
    return std::make_unique<WrittenFile>(files_.OpenForWriting(path), faults);
  }

  void Remove(std::string_view path) noexcept override {
    if (!faults.Fails(FileOperation::Remove)) files_.Remove(path);
  }

  [[nodiscard]] std::string MakeTemporaryDirectory() override {
    faults.Check(FileOperation::Temporary, "temporary directory");
    return files_.MakeTemporaryDirectory();
  }

  void RemoveTemporaryDirectory(std::string_view path) noexcept override {
    files_.RemoveTemporaryDirectory(path);
  }

  [[nodiscard]] std::optional<std::string> ReadFileVersion(std::string_view path) const override {
    return files_.ReadFileVersion(path);
  }

  [[nodiscard]] std::string NativeName(std::string_view path) const override {
    return files_.NativeName(path);
  }

 private:
  class InputFile final : public RandomAccessFile {
   public:
    InputFile(std::unique_ptr<RandomAccessFile> file, FileFaults& faults)
        : file_(std::move(file)), faults_(faults) {}
    [[nodiscard]] const std::string& Name() const override { return file_->Name(); }
    [[nodiscard]] std::uint64_t Size() const override { return file_->Size(); }
    [[nodiscard]] std::uint64_t ChangeStamp() const override { return file_->ChangeStamp(); }
    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const override {
      faults_.Check(FileOperation::Read, Name());
      return file_->ReadAt(offset, buffer);
    }

   private:
    std::unique_ptr<RandomAccessFile> file_;
    FileFaults& faults_;
  };

  class WrittenFile final : public platform::OutputFile {
   public:
    WrittenFile(std::unique_ptr<platform::OutputFile> file, FileFaults& faults)
        : file_(std::move(file)), faults_(faults) {}
    void Write(std::span<const std::byte> bytes) override {
      faults_.Check(FileOperation::Write, "written file");
      file_->Write(bytes);
    }
    void Close() override {
      faults_.Check(FileOperation::Close, "written file");
      file_->Close();
    }

   private:
    std::unique_ptr<platform::OutputFile> file_;
    FileFaults& faults_;
  };

  // Opening for reading changes the counts, not the files.
  [[nodiscard]] FileFaults& shared() const { return const_cast<FaultyFileSystem*>(this)->faults; }

  platform::FileSystem& files_;
};

// Keeps the records.
class RecordingDiagnostics final : public platform::DiagnosticsSink {
 public:
  std::vector<platform::FailureRecord> records;
  [[nodiscard]] bool IsOn() const override { return true; }
  void Report(const platform::FailureRecord& record) noexcept override {
    records.push_back(record);
  }
};

#if defined(_WIN32)
using PlatformOfThisSystem = platform::windows::WindowsPlatform;
#else
using PlatformOfThisSystem = platform::posix::PosixPlatform;
#endif

// Nothing of the process's environment enters but the time zone. Set `settings` as one would set
// environment variables, for example NIMPORT_DRIVES to "C=" and a directory.
class FakePlatform final : public platform::Platform {
 public:
  std::map<std::string, std::string> settings;

 private:
  PlatformOfThisSystem system_{[this](const char* name) -> std::optional<std::string> {
    const auto found = settings.find(name);
    if (found == settings.end() || found->second.empty()) return std::nullopt;
    return found->second;
  }};

 public:
  std::optional<int> platformId = 2;
  bool isSalvaging = false;
  FaultyFileSystem faultyFiles{system_.files()};
  RecordingDiagnostics recorder;
  // What a session sees; point them elsewhere to replace a part.
  const platform::Registry* registryPart = &system_.registry();
  platform::FileSystem* filesPart = &faultyFiles;
  const platform::Clock* clockPart = &system_.clock();
  platform::ModuleLoader* modulesPart = &system_.modules();
  platform::DiagnosticsSink* diagnosticsPart = &recorder;

  // The parts as the system has them, for the settings above.
  [[nodiscard]] platform::Platform& system() { return system_; }

  [[nodiscard]] std::optional<int> PlatformId() const override { return platformId; }
  [[nodiscard]] std::int64_t ProcessId() const noexcept override { return system_.ProcessId(); }
  [[nodiscard]] bool IsSalvaging() const override { return isSalvaging; }
  [[nodiscard]] const platform::Registry& registry() const override { return *registryPart; }
  [[nodiscard]] platform::FileSystem& files() override { return *filesPart; }
  [[nodiscard]] const platform::Clock& clock() const override { return *clockPart; }
  [[nodiscard]] platform::ModuleLoader& modules() override { return *modulesPart; }
  [[nodiscard]] const text::CodePageConverter& text() const override { return system_.text(); }
  [[nodiscard]] platform::DiagnosticsSink& diagnostics() override { return *diagnosticsPart; }
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMON_FAKE_PLATFORM_H_
