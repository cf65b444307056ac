#include "host/diagnostics.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace nimport::host {

namespace {

using nlohmann::json;

std::string TextOf(const json& record, const char* name) {
  const auto found = record.find(name);
  return found != record.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<std::int64_t> NumberOf(const json& record, const char* name) {
  const auto found = record.find(name);
  if (found == record.end() || !found->is_number_integer()) return std::nullopt;
  return found->get<std::int64_t>();
}

}  // namespace

std::string DiagnosticRecord::Describe() const {
  std::ostringstream out;
  out << reason;
  // Many reasons name their file already.
  if (!file.empty() && reason.find(file) == std::string::npos) out << " [" << file << "]";
  if (!table.empty() && reason.find(table) == std::string::npos) out << " [table " << table << "]";
  return out.str();
}

std::optional<DiagnosticRecord> ParseDiagnosticRecord(std::string_view line) {
  const json record = json::parse(line.begin(), line.end(), nullptr, false);
  if (!record.is_object()) return std::nullopt;
  DiagnosticRecord result;
  result.function = TextOf(record, "function");
  result.code = static_cast<std::int32_t>(NumberOf(record, "code").value_or(0));
  result.isNote = record.value("note", json(false)) == true;
  result.reason = TextOf(record, "reason");
  result.file = TextOf(record, "file");
  result.page = NumberOf(record, "page");
  result.table = TextOf(record, "table");
  result.slot = NumberOf(record, "slot");
  result.folder = NumberOf(record, "folder");
  result.mail = NumberOf(record, "mail");
  result.dataNo = NumberOf(record, "dataNo");
  return result;
}

Diagnostics::Diagnostics() : file_(std::tmpfile()) {
  if (file_ == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot create a temporary file");
  }
  SwitchOn();
  setenv("NIMPORT_SALVAGE", "1", 1);
}

Diagnostics::~Diagnostics() {
  unsetenv("NIMPORT_DIAGNOSTICS");
  unsetenv("NIMPORT_SALVAGE");
}

void Diagnostics::SwitchOn() const {
  const std::string target = "fd:" + std::to_string(fileno(file_.get()));
  setenv("NIMPORT_DIAGNOSTICS", target.c_str(), 1);
}

Diagnostics::Silence::Silence(const Diagnostics& diagnostics) : diagnostics_(diagnostics) {
  unsetenv("NIMPORT_DIAGNOSTICS");
}

Diagnostics::Silence::~Silence() {
  diagnostics_.SwitchOn();
}

std::string Diagnostics::TakeReason(std::string_view function, std::int32_t code) {
  const std::lock_guard lock(mutex_);
  Drain();
  const auto matches = [&](const DiagnosticRecord& record) {
    return record.function == function && record.code == code;
  };
  auto found = std::find_if(failures_.rbegin(), failures_.rend(), matches);
  std::string reason = found == failures_.rend() ? std::string() : found->Describe();
  failures_.clear();
  return reason;
}

std::vector<DiagnosticRecord> Diagnostics::TakeLosses() {
  const std::lock_guard lock(mutex_);
  Drain();
  return std::exchange(losses_, {});
}

std::vector<DiagnosticRecord> Diagnostics::TakeNotes() {
  const std::lock_guard lock(mutex_);
  Drain();
  return std::exchange(notes_, {});
}

void Diagnostics::Drain() {
  std::istringstream lines(ReadAndEmptyFile());
  for (std::string line; std::getline(lines, line);) {
    std::optional<DiagnosticRecord> record = ParseDiagnosticRecord(line);
    if (!record) continue;
    ListFor(*record).push_back(std::move(*record));
  }
}

std::vector<DiagnosticRecord>& Diagnostics::ListFor(const DiagnosticRecord& record) {
  if (record.isNote) return notes_;
  return record.code == 0 ? losses_ : failures_;
}

std::string Diagnostics::ReadAndEmptyFile() {
  const int descriptor = fileno(file_.get());
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || status.st_size == 0) return {};
  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t got = pread(descriptor, contents.data(), contents.size(), 0);
  contents.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  // The plug-in writes at the descriptor's position, so it must go back with the size.
  if (ftruncate(descriptor, 0) == 0) lseek(descriptor, 0, SEEK_SET);
  return contents;
}

}  // namespace nimport::host
