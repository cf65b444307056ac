// Why something failed. The plug-in's result codes carry no text; while a Diagnostics object lives,
// the plug-in writes one record per failure where this object reads them.
#ifndef NIMPORT_HOST_DIAGNOSTICS_H_
#define NIMPORT_HOST_DIAGNOSTICS_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::host {

// One record. Texts are UTF-8; what is not known is empty.
struct DiagnosticRecord {
  std::string function;   // the plug-in's function
  std::int32_t code = 0;  // what it answered; 0 for damage that was stepped over
  bool isNote = false;    // nothing is wrong, but a user may want to know
  std::string reason;     // one sentence
  std::string file;
  std::optional<std::int64_t> page;
  std::string table;
  std::optional<std::int64_t> slot;
  std::optional<std::int64_t> folder;  // position in the plug-in's list of cabinets and folders
  std::optional<std::int64_t> mail;    // position in the folder
  std::optional<std::int64_t> dataNo;

  // The reason with the places that are known.
  [[nodiscard]] std::string Describe() const;
};

// The record that one line of JSON holds; empty when it holds none.
[[nodiscard]] std::optional<DiagnosticRecord> ParseDiagnosticRecord(std::string_view line);

// Receives the records of this process through NIMPORT_DIAGNOSTICS and asks the plug-in to step
// over damage (NIMPORT_SALVAGE). Both variables are set for the object's life, whatever they were.
// One object per process at a time; its functions may be called from several threads.
class Diagnostics {
 public:
  // Throws std::system_error when no temporary file can be had.
  Diagnostics();
  ~Diagnostics();
  Diagnostics(const Diagnostics&) = delete;
  Diagnostics& operator=(const Diagnostics&) = delete;

  // Why `function` answered `code` just now; empty when nothing is known. Forgets the failures that
  // were recorded before.
  [[nodiscard]] std::string TakeReason(std::string_view function, std::int32_t code);

  // The damage that was stepped over since the last call. The plug-in may report a place each time
  // that it comes across it.
  [[nodiscard]] std::vector<DiagnosticRecord> TakeLosses();

  // While an object lives, the plug-in records nothing: for calls whose failure is an answer, since
  // records take longer than many a call. Other threads must not call the plug-in meanwhile.
  class Silence {
   public:
    explicit Silence(const Diagnostics& diagnostics);
    ~Silence();
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

   private:
    const Diagnostics& diagnostics_;
  };

  // What is no failure and no loss but a user may want to know, since the last call.
  [[nodiscard]] std::vector<DiagnosticRecord> TakeNotes();

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  // Moves what the plug-in wrote into the lists below.
  void Drain();
  [[nodiscard]] std::vector<DiagnosticRecord>& ListFor(const DiagnosticRecord& record);
  [[nodiscard]] std::string ReadAndEmptyFile();

  // Asks the plug-in to record.
  void SwitchOn() const;

  std::mutex mutex_;
  // Unlinked: a pipe would block the plug-in when nobody reads it.
  std::unique_ptr<std::FILE, CloseFile> file_;
  std::vector<DiagnosticRecord> failures_;
  std::vector<DiagnosticRecord> losses_;
  std::vector<DiagnosticRecord> notes_;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_DIAGNOSTICS_H_
