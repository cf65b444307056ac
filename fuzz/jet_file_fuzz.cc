// A whole database file: opened, listed, every table and stored query scanned, and what was deleted
// read, once refusing damage and once stepping over it.
#include <memory>
#include <vector>

#include "common/memory_file.h"
#include "fuzz_input.h"
#include "jet/database.h"
#include "jet/salvage/deleted_rows.h"
#include "platform/platform.h"

using namespace nimport::jet;

namespace {

// A query over damaged tables may join everything with everything.
constexpr int MAX_QUERY_ROWS = 2000;

struct SilentListener final : DamageListener {
  void OnDamage(const DatabaseError&) override {}
};

void ReadRows(Recordset& rows, std::size_t columns, int maxRows) {
  for (int count = 0; !rows.IsEof() && count < maxRows; rows.MoveNext(), ++count) {
    for (std::size_t column = 0; column < columns; ++column)
      (void)rows.GetFieldValue(column);
  }
}

// Whatever is wrong with one table or query, the others are still read.
template <typename Read>
void Try(Read read) {
  try {
    read();
  } catch (const DatabaseError&) {
  }
}

void ReadDeleted(DeletedData& data, const std::string& table) {
  const DeletedRows* rows = data.FindRows(table);
  if (rows == nullptr) return;
  for (std::size_t row = 0; row < rows->Count(); ++row) {
    for (std::size_t column = 0; column < rows->Columns().size(); ++column)
      (void)rows->Get(row, column);
  }
}

void ReadDatabase(Database& database) {
  const auto deleted = database.OpenDeleted();
  for (const std::string& name : database.TableNames()) {
    Try([&] {
      const auto table = database.OpenTable(name);
      ReadRows(*table->OpenRecordset(), table->Columns().size(), 1 << 20);
      if (!table->Columns().empty())
        (void)table->OpenRecordset()->FindFirst(table->Columns()[0].name, 1);
    });
    Try([&] { ReadDeleted(*deleted, name); });
  }
  for (const std::string& name : database.QueryNames()) {
    Try([&] {
      const auto query = database.OpenQuery(name);
      ReadRows(*query->OpenRecordset(), query->Columns().size(), MAX_QUERY_ROWS);
    });
  }
}

void Run(const std::vector<std::byte>& bytes, DamageListener* listener) {
  Try([&] {
    OpenOptions options;
    options.damageListener = listener;
    const auto database = Database::Open(std::make_unique<nimport::MemoryFile>("fuzz.mdb", bytes),
                                         nimport::platform::SystemPlatform().text(), options);
    ReadDatabase(*database);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto* begin = reinterpret_cast<const std::byte*>(data);
  const std::vector<std::byte> bytes(begin, begin + size);
  const nimport::fuzz::TimeLimit limit(size, 4);
  SilentListener listener;
  Run(bytes, nullptr);
  Run(bytes, &listener);
  return 0;
}
