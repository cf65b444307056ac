#include "jetdump/json_dump.h"

#include <string_view>

#include "jetdump/json_value.h"
#include "text/visible.h"

namespace nimport::jetdump {
namespace {

// An object or a list being written: puts the separators between its members and closes it, also
// when reading a member throws.
class Group {
 public:
  Group(std::ostream& out, std::string_view brackets) : out_(out), close_(brackets[1]) {
    out_ << brackets[0];
  }
  ~Group() { out_ << close_; }
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  std::ostream& Next() {
    if (!isFirst_) out_ << ',';
    isFirst_ = false;
    return out_;
  }

 private:
  std::ostream& out_;
  char close_;
  bool isFirst_ = true;
};

class Dump {
 public:
  Dump(jet::Database& database, bool withRows, std::ostream& out, std::ostream& errors)
      : database_(database), withRows_(withRows), out_(out), errors_(errors) {}

  bool TablesAreSound() const { return tablesAreSound_; }

  void WriteTable(const std::string& name) {
    Group members(out_, "{}");
    try {
      const auto table = database_.OpenTable(name);
      WriteColumns(members.Next(), table->Columns());
      const std::size_t count = withRows_
                                    ? WriteRows(members, table->Columns(), *table->OpenRecordset())
                                    : table->RecordCount();
      members.Next() << "\"rowCount\":" << count;
    } catch (const jet::DatabaseError& error) {
      tablesAreSound_ = false;
      errors_ << text::Visible(error.what()) << '\n';
      members.Next() << "\"error\":" << ToJson(error.what());
    }
  }

  void WriteLinks(std::ostream& out) {
    Group links(out, "{}");
    for (const jet::LinkedTable& link : database_.LinkedTables()) {
      links.Next() << '\n' << ToJson(link.name) << ':';
      Group members(out, "{}");
      members.Next() << "\"table\":" << ToJson(link.foreignName);
      members.Next() << "\"database\":" << ToJson(link.database);
      members.Next() << "\"connect\":" << ToJson(link.connect);
    }
  }

  void WriteQuery(const std::string& name) {
    Group members(out_, "{}");
    try {
      const auto query = database_.OpenQuery(name);
      WriteColumns(members.Next(), query->Columns());
      if (withRows_) WriteRows(members, query->Columns(), *query->OpenRecordset());
    } catch (const jet::DatabaseError& error) {
      members.Next() << "\"error\":" << ToJson(error.what());
    }
  }

 private:
  static void WriteColumns(std::ostream& out, const std::vector<jet::ColumnInfo>& columns) {
    out << "\"columns\":";
    Group items(out, "[]");
    for (const jet::ColumnInfo& column : columns) {
      Group members(items.Next(), "{}");
      members.Next() << "\"name\":" << ToJson(column.name);
      members.Next() << "\"type\":\"" << TypeName(column.type) << '"';
    }
  }

  // Returns the number of rows.
  std::size_t WriteRows(Group& parent, const std::vector<jet::ColumnInfo>& columns,
                        jet::Recordset& rows) {
    std::vector<std::string> keys;
    for (const jet::ColumnInfo& column : columns)
      keys.push_back(ToJson(column.name) + ':');
    parent.Next() << "\"rows\":";
    Group items(out_, "[]");
    std::size_t count = 0;
    for (; !rows.IsEof(); rows.MoveNext(), ++count) {
      items.Next() << '\n';
      Group members(out_, "{}");
      for (std::size_t i = 0; i < keys.size(); ++i) {
        const std::string value = ToJson(rows.GetFieldValue(i));
        members.Next() << keys[i] << value;
      }
    }
    return count;
  }

  jet::Database& database_;
  bool withRows_;
  std::ostream& out_;
  std::ostream& errors_;
  bool tablesAreSound_ = true;
};

}  // namespace

bool DumpDatabase(jet::Database& database, const DumpOptions& options, std::ostream& out,
                  std::ostream& errors) {
  Dump dump(database, options.withRows, out, errors);
  {
    Group whole(out, "{}");
    whole.Next() << "\"tables\":";
    {
      Group tables(out, "{}");
      for (const std::string& name : options.tables) {
        tables.Next() << '\n' << ToJson(name) << ':';
        dump.WriteTable(name);
      }
    }
    if (options.withLinks) dump.WriteLinks(whole.Next() << "\n\"linkedTables\":");
    whole.Next() << "\n\"queries\":";
    Group queries(out, "{}");
    for (const std::string& name : options.queries) {
      queries.Next() << '\n' << ToJson(name) << ':';
      dump.WriteQuery(name);
    }
  }
  out << '\n';
  return dump.TablesAreSound();
}

}  // namespace nimport::jetdump
