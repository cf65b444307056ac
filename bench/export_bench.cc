// The exports on one store, per mail. The store is the one that the environment of the library
// names (NIMPORT_REGISTRY, NIMPORT_DRIVES).
#include <cstdint>

#include <benchmark/benchmark.h>

#include "nimport/nimport.h"
#include "open_store.h"

namespace {

using nimport::bench::OpenStore;

// Asks `get(session, folder, mail, text)` of one mail after the other, as a host that imports a
// folder does.
template <typename Get>
void RunTextExport(benchmark::State& state, Get get) {
  OpenStore store;
  std::int32_t mail = 0;
  ResultString text{nullptr, ENCODING_UTF16, 0, nullptr};
  for (auto _ : state) {
    mail = (mail + 1) % store.mails;
    if (get(store.session, store.folder, mail, &text) == RESULT_OK) text.release(text.buffer);
  }
  state.counters["mails"] = static_cast<double>(store.mails);
}

void BM_Subject(benchmark::State& state) {
  RunTextExport(state, ML_GetMailSubject);
}
void BM_From(benchmark::State& state) {
  RunTextExport(state, ML_GetMailFrom);
}
void BM_Source(benchmark::State& state) {
  RunTextExport(state, ML_GetMailSource);
}
void BM_Date(benchmark::State& state) {
  RunTextExport(state,
                [](HandleNode* session, HandleNode* folder, std::int32_t mail, ResultString*) {
                  std::int32_t date = 0;
                  static_cast<void>(ML_GetMailDate(session, folder, mail, &date));
                  return RESULT_INVALID;
                });
}
void BM_BodyPath(benchmark::State& state) {
  RunTextExport(state,
                [](HandleNode* session, HandleNode* folder, std::int32_t mail, ResultString* text) {
                  return ML_GetMailBodyPath(session, folder, mail, 0, text);
                });
}
BENCHMARK(BM_Subject)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_From)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Date)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Source)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BodyPath)->Unit(benchmark::kMicrosecond);

// Initialize, load the folders and open every folder in turn.
void BM_OpenEveryFolder(benchmark::State& state) {
  for (auto _ : state) {
    OpenStore store;
    benchmark::DoNotOptimize(store.mails);
  }
}
BENCHMARK(BM_OpenEveryFolder)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
