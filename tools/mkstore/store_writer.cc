#include "mkstore/store_writer.h"

#include <cstddef>
#include <fstream>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/utf8_path.h"
#include "jetwriter/row_deleter.h"
#include "jetwriter/write_error.h"
#include "mkstore/address_writer.h"
#include "mkstore/description.h"
#include "mkstore/drives.h"
#include "mkstore/executable.h"
#include "mkstore/mail_writer.h"
#include "mkstore/mime_file.h"
#include "mkstore/registry_file.h"
#include "mkstore/store_table.h"
#include "mkstore/template_store.h"

namespace nimport::mkstore {
namespace {

constexpr const char* DIRECTORY_KEY = "Software\\NIFTY\\NIFTY Manager\\Directory";
constexpr const char* SESSION_KEY = "Software\\NIFTY\\NIFTY Manager\\Session";
constexpr const char* USUAL_BIN = "C:\\NIFTY\\Bin";
constexpr const char* USUAL_DATA = "C:\\NIFTY\\Data";
constexpr const char* USUAL_ACCOUNT = "QZA00001";
constexpr const char* USUAL_FILE_VERSION = "5, 1, 0, 2";

// A setting of the mail client: absent from the description it has its usual value, null it is
// missing from the registry.
std::optional<std::string> ReadSetting(const std::optional<Node>& parent, std::string_view name,
                                       const char* usual) {
  const std::optional<Node> member = parent ? parent->Find(name) : std::nullopt;
  if (!member) return usual;
  return member->IsNull() ? std::nullopt : std::optional(member->ToText());
}

struct Settings {
  std::optional<std::string> accountId;
  std::optional<std::string> bin;
  std::optional<std::string> data;
  unsigned codePage = 932;
};

Settings ReadSettings(const Node& description) {
  description.ExpectMembers({"accountId", "fileVersion", "executable", "directories", "codePage",
                             "cabinets", "folders", "mails", "addressBook", "tables", "extraTables",
                             "extraRows", "linkedTables", "queries", "files", "mimeFiles",
                             "template", "deletedBytes"});
  const std::optional<Node> directories = description.Find("directories");
  if (directories) directories->ExpectMembers({"bin", "data"});
  return {.accountId = ReadSetting(description, "accountId", USUAL_ACCOUNT),
          .bin = ReadSetting(directories, "bin", USUAL_BIN),
          .data = ReadSetting(directories, "data", USUAL_DATA),
          .codePage = static_cast<unsigned>(description.IntegerOr("codePage", 932, 0, 65535))};
}

std::vector<RegistryValue> ToRegistryValues(const Settings& settings) {
  std::vector<RegistryValue> values;
  // Windows NT keeps the directories for the machine, Windows 95 for the user.
  for (const RegistryHive hive : {RegistryHive::LocalMachine, RegistryHive::CurrentUser}) {
    if (settings.bin) values.push_back({hive, DIRECTORY_KEY, "BinDir", *settings.bin});
    if (settings.data) values.push_back({hive, DIRECTORY_KEY, "DatabaseDir", *settings.data});
  }
  if (settings.accountId) {
    values.push_back({RegistryHive::CurrentUser, SESSION_KEY, "ID1", *settings.accountId});
  }
  return values;
}

void WriteExecutable(const Node& description, const Settings& settings, const Drives& drives) {
  if (!description.BoolOr("executable", true)) return;
  const std::string path = settings.bin.value_or(USUAL_BIN) + "\\Winnim.exe";
  WriteFile(drives.ToNative(path, description),
            MakeExecutable(ReadSetting(description, "fileVersion", USUAL_FILE_VERSION)));
}

jetwriter::WriterOptions ToWriterOptions(const StoreOptions& options, unsigned codePage) {
  return {.version = options.format, .codePage = codePage, .encodingKey = options.encodingKey};
}

// Both databases of a store.
struct Databases {
  StoreDatabase mail;
  StoreDatabase addresses;

  Databases(const std::filesystem::path& directory, const jetwriter::WriterOptions& options,
            const Node& description)
      : mail("Cabdata.mdb", directory, options, description),
        addresses("Abook.mdb", directory, options, description) {
    const std::optional<Node> changes = description.Find("tables");
    if (!changes) return;
    for (const auto& [name, change] : changes->Members())
      (void)Table(name, change);
  }

  StoreTable& Table(const std::string& name, const Node& place) {
    StoreTable* table = addresses.FindTable(name);
    return table != nullptr ? *table : mail.Table(name, place);
  }
};

void AddExtraRows(const Node& description, Databases& databases) {
  const std::optional<Node> tables = description.Find("extraRows");
  if (!tables) return;
  for (const auto& [name, rows] : tables->Members()) {
    StoreTable& table = databases.Table(name, rows);
    for (const Node& values : rows.Elements()) {
      StoreRow row(table);
      row.ReadAll(values);
      table.AddRow(row.Take(), values);
    }
  }
}

void AddMails(const Node& description, MailWriter& mails) {
  constexpr std::int64_t MAX_NUMBER = 0x7FFFFFFF;
  for (const Node& cabinet : description.ElementsOf("cabinets"))
    mails.AddCabinet(cabinet);
  for (const Node& folder : description.ElementsOf("folders")) {
    mails.AddFolder(folder, folder.IntegerOr("cabinet", 0, -0x8000, 0x7FFF));
  }
  for (const Node& mail : description.ElementsOf("mails")) {
    mails.AddMail(mail, mail.At("folder").ToInteger(-MAX_NUMBER, MAX_NUMBER));
  }
}

void AddTemplate(const Node& description, const StoreOptions& options, MailWriter& mails,
                 AddressWriter& addresses) {
  static const nlohmann::json usual = nlohmann::json::object();
  const std::optional<Node> own = description.Find("template");
  if (!own && !options.scale) return;
  AddFromTemplate(own.value_or(Node(usual, "/template")), options.scale, mails, addresses);
}

// Deletes the rows of the mails that are meant, in a database that is finished.
void DeleteMails(const Node& description, const MailWriter::DeletedMails& mails,
                 const std::filesystem::path& database) {
  const std::string bytes = description.TextOr("deletedBytes", "stay");
  if (bytes != "stay" && bytes != "goUnder") {
    description.At("deletedBytes").Fail("it is neither \"stay\" nor \"goUnder\"");
  }
  if (mails.empty()) return;
  std::vector<std::byte> file(static_cast<std::size_t>(std::filesystem::file_size(database)));
  std::fstream stream(database, std::ios::in | std::ios::out | std::ios::binary);
  stream.read(reinterpret_cast<char*>(file.data()), std::ssize(file));
  for (const auto& [table, numbers] : mails) {
    jetwriter::DeleteRows(
        file, {.table = table,
               .column = "DataNo",
               .isMeant = [&numbers](std::int32_t number) { return numbers.contains(number); },
               .bytes = bytes == "stay" ? jetwriter::DeletedBytes::Stay
                                        : jetwriter::DeletedBytes::GoUnder});
  }
  stream.seekp(0);
  stream.write(reinterpret_cast<const char*>(file.data()), std::ssize(file));
  stream.close();
  if (!stream) throw jetwriter::WriteError(PathToUtf8(database) + " cannot be written");
}

void WriteLooseFiles(const Node& description, const Drives& drives,
                     const std::filesystem::path& mimeDirectory) {
  for (const Node& file : description.ElementsOf("files")) {
    file.ExpectMembers({"path", "contents"});
    WriteFile(drives.ToNative(file.At("path").ToText(), file.At("path")),
              ReadContents(file.At("contents")).bytes);
  }
  for (const Node& file : description.ElementsOf("mimeFiles")) {
    const std::string name = file.At("file").ToText();
    WriteFile(
        mimeDirectory / std::filesystem::path(std::u8string(name.begin(), name.end())).filename(),
        ReadMimeFile(file).value_or(""));
  }
}

}  // namespace

std::string Store::RegistryVariable() const {
  constexpr const char* SEPARATOR = std::filesystem::path::preferred_separator == '/' ? ":" : ";";
  std::string variable;
  for (const std::filesystem::path& file : registryFiles) {
    variable += (variable.empty() ? "" : SEPARATOR) + PathToUtf8(file);
  }
  return variable;
}

std::string Store::DrivesVariable() const {
  return "C=" + PathToUtf8(driveC);
}

Store MakeStore(const nlohmann::json& json, const std::filesystem::path& folder,
                const StoreOptions& options) {
  const Node description(json, "");
  const Settings settings = ReadSettings(description);
  const std::filesystem::path root = std::filesystem::absolute(folder);
  const Drives drives(root);
  Store store{
      .root = root,
      .driveC = root / "c",
      .registryFiles = {},
      .registryFile = {},
      .databaseDirectory = drives.ToNative(settings.data.value_or(USUAL_DATA), description)};
  const std::filesystem::path mimeDirectory = store.databaseDirectory / "Mime";
  std::filesystem::create_directories(store.driveC);
  std::filesystem::create_directories(mimeDirectory);

  Databases databases(store.databaseDirectory, ToWriterOptions(options, settings.codePage),
                      description);
  MailWriter mails(databases.mail, drives, mimeDirectory, settings.codePage);
  AddressWriter addresses(databases.addresses);
  AddMails(description, mails);
  for (const Node& entry : description.ElementsOf("addressBook"))
    addresses.AddEntry(entry);
  AddTemplate(description, options, mails, addresses);
  AddExtraRows(description, databases);
  databases.mail.Finish();
  databases.addresses.Finish();
  DeleteMails(description, mails.deletedMails(), store.databaseDirectory / "Cabdata.mdb");

  WriteLooseFiles(description, drives, mimeDirectory);
  WriteExecutable(description, settings, drives);
  store.registryFiles =
      WriteRegistry(root, ToRegistryValues(settings), options.registry, settings.codePage);
  store.registryFile = store.registryFiles.front();
  return store;
}

}  // namespace nimport::mkstore
