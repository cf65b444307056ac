// The database engine on one store: scans and lookups. NIMPORT_BENCH_DATABASE names the
// "Cabdata.mdb".
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "jet/database.h"
#include "open_store.h"
#include "platform/platform.h"

namespace {

using nimport::jet::Database;
using nimport::jet::Recordset;

// The stored query of received text mails, in code page 932.
constexpr char TEXT_TABLE[] = "EmRcvText";
constexpr char TEXT_QUERY[] = "EmRcvText\xB8\xB4\xD8\xB0";

std::unique_ptr<Database> OpenDatabase() {
  const char* path = std::getenv("NIMPORT_BENCH_DATABASE");
  if (path == nullptr) {
    std::fputs("NIMPORT_BENCH_DATABASE is not set\n", stderr);
    std::exit(2);
  }
  nimport::platform::Platform& platform = nimport::platform::SystemPlatform();
  return Database::Open(platform.files().OpenForReading(path), platform.text());
}

std::int64_t ScanAllColumns(Database& database, const std::string& tableName) {
  const auto table = database.OpenTable(tableName);
  const std::size_t columns = table->Columns().size();
  const auto rows = table->OpenRecordset();
  std::int64_t count = 0;
  for (; !rows->IsEof(); rows->MoveNext(), ++count) {
    for (std::size_t column = 0; column < columns; ++column) {
      benchmark::DoNotOptimize(rows->GetFieldValue(column));
    }
  }
  return count;
}

// Every iteration opens the database afresh, as a program that reads it once would.
void BM_ScanAllTablesAllColumns(benchmark::State& state) {
  std::int64_t rows = 0;
  for (auto _ : state) {
    const auto database = OpenDatabase();
    for (const std::string& table : database->TableNames()) {
      rows += ScanAllColumns(*database, table);
    }
  }
  state.SetItemsProcessed(rows);
  state.counters["peakKiB"] = nimport::bench::PeakMemoryKiB();
}
BENCHMARK(BM_ScanAllTablesAllColumns)->Unit(benchmark::kMillisecond);

void BM_ScanDataTableAllColumns(benchmark::State& state) {
  std::int64_t rows = 0;
  for (auto _ : state)
    rows += ScanAllColumns(*OpenDatabase(), "DataTBL");
  state.SetItemsProcessed(rows);
}
BENCHMARK(BM_ScanDataTableAllColumns)->Unit(benchmark::kMillisecond);

void BM_ScanDataTableOneInteger(benchmark::State& state) {
  std::int64_t count = 0;
  for (auto _ : state) {
    const auto database = OpenDatabase();
    const auto table = database->OpenTable("DataTBL");
    const auto rows = table->OpenRecordset();
    std::size_t column = 0;
    while (table->Columns()[column].name != "DataNo")
      ++column;
    for (; !rows->IsEof(); rows->MoveNext(), ++count) {
      benchmark::DoNotOptimize(nimport::jet::ToInteger(rows->GetFieldValue(column)));
    }
  }
  state.SetItemsProcessed(count);
}

BENCHMARK(BM_ScanDataTableOneInteger)->Unit(benchmark::kMillisecond);

// The two tables that the stored query joins, one after the other.
void BM_ScanTablesOfQueryOneInteger(benchmark::State& state) {
  for (auto _ : state) {
    const auto database = OpenDatabase();
    for (const char* tableName : {"DataTBL", TEXT_TABLE}) {
      const auto table = database->OpenTable(tableName);
      const auto rows = table->OpenRecordset();
      for (; !rows->IsEof(); rows->MoveNext())
        benchmark::DoNotOptimize(rows->GetFieldValue("DataNo"));
    }
  }
}
BENCHMARK(BM_ScanTablesOfQueryOneInteger)->Unit(benchmark::kMillisecond);

void BM_ScanTextTableAllColumns(benchmark::State& state) {
  std::int64_t rows = 0;
  for (auto _ : state)
    rows += ScanAllColumns(*OpenDatabase(), TEXT_TABLE);
  state.SetItemsProcessed(rows);
}
BENCHMARK(BM_ScanTextTableAllColumns)->Unit(benchmark::kMillisecond);

void BM_ScanStoredQuery(benchmark::State& state) {
  std::int64_t count = 0;
  for (auto _ : state) {
    const auto database = OpenDatabase();
    const auto query = database->OpenQuery(TEXT_QUERY);
    const auto rows = query->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext(), ++count) {
      benchmark::DoNotOptimize(rows->GetFieldValue("DataNo"));
    }
  }
  state.SetItemsProcessed(count);
}
BENCHMARK(BM_ScanStoredQuery)->Unit(benchmark::kMillisecond);

void BM_ScanStoredQueryAllColumns(benchmark::State& state) {
  std::int64_t count = 0;
  for (auto _ : state) {
    const auto database = OpenDatabase();
    const auto query = database->OpenQuery(TEXT_QUERY);
    const auto rows = query->OpenRecordset();
    const std::size_t columns = query->Columns().size();
    for (; !rows->IsEof(); rows->MoveNext(), ++count) {
      for (std::size_t column = 0; column < columns; ++column) {
        benchmark::DoNotOptimize(rows->GetFieldValue(column));
      }
    }
  }
  state.SetItemsProcessed(count);
  state.counters["peakKiB"] = nimport::bench::PeakMemoryKiB();
}
BENCHMARK(BM_ScanStoredQueryAllColumns)->Unit(benchmark::kMillisecond);

std::vector<std::int32_t> NumbersInQuery(Database& database) {
  const auto query = database.OpenQuery(TEXT_QUERY);
  const auto rows = query->OpenRecordset();
  std::vector<std::int32_t> numbers;
  for (; !rows->IsEof(); rows->MoveNext()) {
    numbers.push_back(nimport::jet::ToInteger(rows->GetFieldValue("DataNo")).value_or(0));
  }
  return numbers;
}

// One lookup as an export makes it: the query opened, the row found, a column read.
void LookUp(benchmark::State& state, double step) {
  const auto database = OpenDatabase();
  const std::vector<std::int32_t> numbers = NumbersInQuery(*database);
  const auto query = database->OpenQuery(TEXT_QUERY);
  const auto distance =
      static_cast<std::size_t>(step < 1 ? step * static_cast<double>(numbers.size()) : step);
  std::size_t next = 0;
  for (auto _ : state) {
    next = (next + distance) % numbers.size();
    const auto rows = query->OpenRecordset();
    if (!rows->FindFirst("DataNo", numbers[next])) state.SkipWithError("a number was not found");
    benchmark::DoNotOptimize(rows->GetFieldValue("DataTitle"));
  }
  state.counters["rows"] = static_cast<double>(numbers.size());
  state.counters["peakKiB"] = nimport::bench::PeakMemoryKiB();
}

void BM_LookupForward(benchmark::State& state) {
  LookUp(state, 1);
}
BENCHMARK(BM_LookupForward)->Unit(benchmark::kMicrosecond);

// Numbers in no order that a cache would like.
void BM_LookupScattered(benchmark::State& state) {
  constexpr double GOLDEN_SECTION = 0.6180339887;
  LookUp(state, GOLDEN_SECTION);
}
BENCHMARK(BM_LookupScattered)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
