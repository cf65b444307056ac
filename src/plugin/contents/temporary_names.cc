#include "plugin/contents/temporary_names.h"

#include <utility>

#include "common/failure.h"
#include "text/code_page_932.h"
#include "text/fixed_text.h"

namespace nimport::plugin {
namespace {

// `path` from its last dot on, empty without one. Directories count too: a dot in a directory's
// name is the last one where the file's name has none.
std::string_view Suffix(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : path.substr(dot);
}

// The extension that `request` asks for.
std::string_view WantedExtension(const ExtensionRequest& request) {
  if (const auto* extension = std::get_if<std::string>(&request)) return *extension;
  const auto* file = std::get_if<FileName>(&request);
  const std::string_view own = file == nullptr ? std::string_view() : Suffix(file->name);
  return own.empty() ? DEFAULT_TEMP_EXTENSION : own;
}

std::string ReplaceSuffix(std::string_view path, std::string_view extension) {
  path.remove_suffix(Suffix(path).size());
  return std::string(path).append(extension);
}

std::string NameFromHost(std::string_view path, const ExtensionRequest& request) {
  const bool isKept = std::holds_alternative<KeepExtension>(request) && !Suffix(path).empty();
  return isKept ? std::string(path) : ReplaceSuffix(path, WantedExtension(request));
}

// A last path without any suffix serves for contents that ask for no extension.
std::string NameFromLast(std::string_view path, const ExtensionRequest& request) {
  const bool isAnyName = !std::holds_alternative<std::string>(request);
  const bool isKept = isAnyName && Suffix(path).empty();
  return isKept ? std::string(path) : ReplaceSuffix(path, WantedExtension(request));
}

// Whether `text` is more than a file's name or the end of one.
bool LeadsElsewhere(std::string_view text) {
  return text.find_first_of(std::string_view("/:\0", 3)) != std::string_view::npos ||
         text::FindLastCharacter(text, '\\') != std::string_view::npos;
}

// Throws for a name that is no file's.
void RequireOwnName(const FileName& file) {
  const bool isDirectory = file.name.empty() || file.name == "." || file.name == "..";
  if (isDirectory || LeadsElsewhere(file.name)) FailDatabase("a name that is no file's");
}

}  // namespace

void TemporaryNames::SetPendingName(std::string_view path) {
  if (path.empty()) FailInvalid("the name for the next temporary file is empty");
  if (path.size() > text::PathText::MAX_BYTES) {
    FailInvalid("the name for the next temporary file is too long");
  }
  pendingTempName_ = path;
}

std::string TemporaryNames::PathInTempDir(std::string_view name) {
  if (tempDir_.empty()) tempDir_ = makeDirectory_();
  // A path of the system's own, where no drive leads to the directory.
  const char separator = tempDir_.starts_with('/') ? '/' : '\\';
  return (tempDir_ + separator).append(name);
}

std::string TemporaryNames::NextPath(const ExtensionRequest& request) {
  if (!pendingTempName_.empty()) return NameFromHost(pendingTempName_, request);
  if (const auto* file = std::get_if<FileName>(&request)) return PathInTempDir(file->name);
  if (!lastPath_.empty()) return NameFromLast(lastPath_, request);
  return PathInTempDir(std::string(TEMP_BASE_NAME).append(WantedExtension(request)));
}

std::string TemporaryNames::ChoosePath(const ExtensionRequest& request) {
  if (const auto* file = std::get_if<FileName>(&request)) RequireOwnName(*file);
  std::string path = NextPath(request);
  if (path.size() > text::PathText::MAX_BYTES) {
    FailInvalid("a temporary file's path would be longer than " +
                std::to_string(text::PathText::MAX_BYTES) + " bytes");
  }
  const auto* extension = std::get_if<std::string>(&request);
  if (extension != nullptr && LeadsElsewhere(*extension)) {
    path.resize(path.size() - extension->size());
    // With an empty extension, which any other replaces.
    lastPath_ = path.append(".");
    FailDatabase("an extension that leads out of its directory");
  }
  return path;
}

std::string TemporaryNames::MakeTempName(const ExtensionRequest& request) {
  const bool hasOwnName = std::holds_alternative<FileName>(request) && pendingTempName_.empty();
  std::string path;
  try {
    path = ChoosePath(request);
  } catch (const Failure&) {
    // A name is used once, also by the call that refuses it: it must not turn up at a later file.
    pendingTempName_.clear();
    throw;
  }
  if (hasOwnName) {
    Remember(path);
  } else {
    RegisterTempName(path);
  }
  pendingTempName_.clear();
  return path;
}

void TemporaryNames::Forget() noexcept {
  entries_.clear();
  tempFiles_.clear();
  lastPath_.clear();
  tempDir_.clear();
}

void TemporaryNames::RegisterTempName(std::string path) {
  // Whatever fails, fails before anything has changed.
  std::string last = path;
  Remember(std::move(path));
  lastPath_ = std::move(last);
}

void TemporaryNames::Remember(std::string path) {
  if (const auto known = entries_.find(path); known != entries_.end()) {
    tempFiles_.splice(tempFiles_.end(), tempFiles_, known->second);
    return;
  }
  std::list<std::string> entry;
  entry.push_back(std::move(path));
  entries_.emplace(entry.front(), entry.begin());
  tempFiles_.splice(tempFiles_.end(), entry);
}

}  // namespace nimport::plugin
