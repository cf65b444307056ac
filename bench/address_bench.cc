// The address book of one store: its table scanned, the book opened, and every address asked for.
// NIMPORT_BENCH_DATABASE names the "Abook.mdb"; the exports find the same store through the
// environment of the library (NIMPORT_REGISTRY, NIMPORT_DRIVES).
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include "jet/database.h"
#include "nimport/nimport.h"
#include "open_store.h"
#include "platform/platform.h"

namespace {

using nimport::bench::Require;
using nimport::jet::Database;

std::unique_ptr<Database> OpenDatabase() {
  const char* path = std::getenv("NIMPORT_BENCH_DATABASE");
  if (path == nullptr) {
    std::fputs("NIMPORT_BENCH_DATABASE is not set\n", stderr);
    std::exit(2);
  }
  nimport::platform::Platform& platform = nimport::platform::SystemPlatform();
  return Database::Open(platform.files().OpenForReading(path), platform.text());
}

// Scans the columns of the table that `isWanted` names. The database stays open from one iteration
// to the next, as that of a session does.
template <typename IsWanted>
void ScanTable(benchmark::State& state, IsWanted isWanted) {
  const auto database = OpenDatabase();
  std::int64_t count = 0;
  for (auto _ : state) {
    const auto table = database->OpenTable("AddressBookTBL");
    std::vector<std::size_t> columns;
    for (std::size_t column = 0; column < table->Columns().size(); ++column) {
      if (isWanted(table->Columns()[column].name)) columns.push_back(column);
    }
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext(), ++count) {
      for (const std::size_t column : columns)
        benchmark::DoNotOptimize(rows->GetFieldValue(column));
    }
  }
  state.SetItemsProcessed(count);
}

void BM_ScanAllColumns(benchmark::State& state) {
  ScanTable(state, [](std::string_view) { return true; });
}
BENCHMARK(BM_ScanAllColumns)->Unit(benchmark::kMillisecond);

// The columns that the book is made of.
void BM_ScanColumnsOfTheBook(benchmark::State& state) {
  constexpr std::array<std::string_view, 6> READ = {"KeyNo", "ParentKeyNo", "Type",
                                                    "Name",  "UserID",      "Comment"};
  ScanTable(state, [&](std::string_view name) {
    for (const std::string_view read : READ) {
      if (name == read) return true;
    }
    return false;
  });
}
BENCHMARK(BM_ScanColumnsOfTheBook)->Unit(benchmark::kMillisecond);

// An address-book session; its book is opened and closed by its users.
struct Session {
  HandleNode* handle = nullptr;

  Session() { Require(AD_Initialize(&handle), "AD_Initialize"); }
  ~Session() { AD_Terminate(handle); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] HandleNode* Open() const {
    HandleNode* book = nullptr;
    Require(AD_OpenAddressBook(handle, nullptr, nullptr, &book), "AD_OpenAddressBook");
    return book;
  }
  void Close(HandleNode* book) const {
    Require(AD_CloseAddressBook(handle, nullptr, nullptr, book), "AD_CloseAddressBook");
  }
};

void BM_OpenBook(benchmark::State& state) {
  const Session session;
  for (auto _ : state) {
    HandleNode* book = session.Open();
    state.PauseTiming();
    session.Close(book);
    state.ResumeTiming();
  }
  state.counters["peakKiB"] = nimport::bench::PeakMemoryKiB();
}
BENCHMARK(BM_OpenBook)->Unit(benchmark::kMillisecond);

// Position in the whole book, name and the three values of each address, as a host that imports the
// book without its groups does.
void BM_AskForEveryAddress(benchmark::State& state) {
  const Session session;
  std::int64_t asked = 0;
  ResultString text{nullptr, ENCODING_UTF16, 0, nullptr};
  const auto take = [&text](ResultCode code, const char* call) {
    Require(code, call);
    text.release(text.buffer);
  };
  for (auto _ : state) {
    state.PauseTiming();
    HandleNode* book = session.Open();
    std::int32_t count = 0;
    Require(AD_GetAddressCount(session.handle, book, &count), "AD_GetAddressCount");
    state.ResumeTiming();
    for (std::int32_t position = 0; position < count; ++position, ++asked) {
      HandleNode* address = nullptr;
      Require(AD_GetAddress(session.handle, book, position, &address), "AD_GetAddress");
      take(AD_GetName(session.handle, address, &text), "AD_GetName");
      for (std::int32_t field = 0; field < 3; ++field) {
        take(AD_GetValue(session.handle, address, field, &text), "AD_GetValue");
      }
    }
    state.PauseTiming();
    session.Close(book);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(asked);
}
BENCHMARK(BM_AskForEveryAddress)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
