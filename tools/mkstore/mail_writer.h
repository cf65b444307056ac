#ifndef NIMPORT_TOOLS_MKSTORE_MAIL_WRITER_H_
#define NIMPORT_TOOLS_MKSTORE_MAIL_WRITER_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "jetwriter/text_encoder.h"
#include "mkstore/drives.h"
#include "mkstore/store_table.h"

namespace nimport::mkstore {

// Writes cabinets, folders and mails: rows of the mail database, MIME files and stored files.
class MailWriter {
 public:
  // `database` and `drives` must outlive the writer.
  MailWriter(StoreDatabase& database, const Drives& drives, std::filesystem::path mimeDirectory,
             unsigned codePage);

  void AddCabinet(const Node& cabinet);
  // A folder of the cabinet with that number, with its mails.
  void AddFolder(const Node& folder, std::int64_t cabinetNumber);
  void AddMail(const Node& mail, std::int64_t folderNumber);

  // Numbers of the mails that are to be deleted, by the tables that have a row of theirs.
  using DeletedMails = std::map<std::string, std::set<std::int32_t>>;
  [[nodiscard]] const DeletedMails& deletedMails() const { return deletedMails_; }

 private:
  struct MailFiles;
  [[nodiscard]] MailFiles WriteFiles(const Node& mail);
  void AddDataRow(const Node& mail, std::int64_t folderNumber, std::int64_t dataNumber);
  void AddFamilyRow(const Node& mail, std::int64_t dataNumber, const MailFiles& files);
  void SetUsualSize(const Node& mail, const MailFiles& files, StoreRow& row);

  StoreDatabase& database_;
  const Drives& drives_;
  std::filesystem::path mimeDirectory_;
  jetwriter::TextEncoder text_;  // of the mail client, whatever the format of the database
  std::int64_t nextDataNumber_ = 1;
  DeletedMails deletedMails_;
};

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_MAIL_WRITER_H_
