// Makes a store of the mail client from a description: both databases, MIME files, stored files,
// the registry and an executable with a version resource. docs/store-description.md tells what a
// description looks like.
#ifndef NIMPORT_TOOLS_MKSTORE_STORE_WRITER_H_
#define NIMPORT_TOOLS_MKSTORE_STORE_WRITER_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "jetwriter/writer_context.h"

namespace nimport::mkstore {

using jetwriter::JetVersion;

// How the settings of the mail client are written.
enum class RegistryForm : std::uint8_t {
  Regedit4,  // an export of Windows 95 and NT 4: "REGEDIT4", in the store's code page
  Unicode,   // "Windows Registry Editor Version 5.00", UTF-16LE with a byte order mark
  Utf8,      // the same in UTF-8
  Wine,      // two files, system.reg and user.reg
};

struct StoreOptions {
  JetVersion format = JetVersion::Jet3;
  RegistryForm registry = RegistryForm::Regedit4;
  // Key that the pages of both databases are encoded with; 0 = plain.
  std::uint32_t encodingKey = 0;
  // Mails to make from the description's template, or from the usual one when it has none. Empty:
  // as many as the template says; without a template none.
  std::optional<std::uint64_t> scale = std::nullopt;
};

// Where a store lies. Paths are absolute.
struct Store {
  std::filesystem::path root;
  std::filesystem::path driveC;  // what the drive letter C stands for
  // One file, or system.reg and user.reg.
  std::vector<std::filesystem::path> registryFiles;
  std::filesystem::path registryFile;       // the first of them
  std::filesystem::path databaseDirectory;  // where Cabdata.mdb, Abook.mdb and Mime/ are

  // Values for the environment of a program that is to find the store: NIMPORT_REGISTRY and
  // NIMPORT_DRIVES.
  [[nodiscard]] std::string RegistryVariable() const;
  [[nodiscard]] std::string DrivesVariable() const;
};

// The description is wrong, or asks for what the formats cannot hold. what() is one sentence that
// begins with the place, a JSON pointer: "/cabinets/0/folders/1/mails/2/date: ...".
class DescriptionError : public std::runtime_error {
 public:
  DescriptionError(const std::string& pointer, const std::string& reason)
      : std::runtime_error((pointer.empty() ? "the description" : pointer) + ": " + reason),
        pointer_(pointer) {}

  [[nodiscard]] const std::string& pointer() const { return pointer_; }

 private:
  std::string pointer_;
};

// Makes the store in `folder`, which is created when it is not there; files of the same names are
// replaced, others left. The same arguments give the same bytes. Memory does not grow with the
// number of mails that are made from a template. Throws DescriptionError, or
// jetwriter::WriteError and std::filesystem::filesystem_error when files cannot be written.
Store MakeStore(const nlohmann::json& description, const std::filesystem::path& folder,
                const StoreOptions& options = {});

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_STORE_WRITER_H_
