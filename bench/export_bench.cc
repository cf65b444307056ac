// The exports on one store, per mail. The store is the one that the environment of the library
// names (NIMPORT_REGISTRY, NIMPORT_DRIVES).
//
// Every question is about another mail of the biggest folder. "Forward" asks in the folder's order,
// as a host that imports it does; "Scattered" goes to a distant mail each time.
#include <cstdint>
#include <numeric>
#include <string>

#include <benchmark/benchmark.h>

#include "nimport/nimport.h"
#include "open_store.h"

namespace {

using nimport::bench::Export;
using nimport::bench::IndexedTextExport;
using nimport::bench::NumberExport;
using nimport::bench::OpenStore;
using nimport::bench::Session;
using nimport::bench::TextExport;

// Mails without a sender or an attached file answer a failure, which is an answer too.
void Release(ResultCode code, ResultString& text) {
  if (code == RESULT_OK) text.release(text.buffer);
}

template <TextExport* GET>
void AskText(const OpenStore& store, std::int32_t mail) {
  ResultString text{nullptr, ENCODING_UTF16, 0, nullptr};
  Release(GET(store.session, store.folder, mail, &text), text);
}

template <NumberExport* GET>
void AskNumber(const OpenStore& store, std::int32_t mail) {
  std::int32_t number = 0;
  benchmark::DoNotOptimize(GET(store.session, store.folder, mail, &number));
}

template <IndexedTextExport* GET>
void AskFirstOf(const OpenStore& store, std::int32_t mail) {
  ResultString text{nullptr, ENCODING_UTF16, 0, nullptr};
  Release(GET(store.session, store.folder, mail, 0, &text), text);
}

constexpr Export EXPORTS[] = {
    {"Subject", AskText<ML_GetMailSubject>},
    {"From", AskText<ML_GetMailFrom>},
    {"To", AskText<ML_GetMailTo>},
    {"MessageID", AskText<ML_GetMailMessageID>},
    {"ContentType", AskFirstOf<ML_GetMailContentType>},
    {"Date", AskNumber<ML_GetMailDate>},
    {"TimeStamp", AskNumber<ML_GetMailTimeStamp>},
    {"BodyCount", AskNumber<ML_GetMailBodyCount>},
    {"AttachedCount", AskNumber<ML_GetAttachedMailCount>},
    {"Source", AskText<ML_GetMailSource>},
    {"BodyPath", AskFirstOf<ML_GetMailBodyPath>},
    {"AttachedPath", AskFirstOf<ML_GetAttachedMailPath>},
};

// Opening a folder of a million mails takes longer than a benchmark.
const OpenStore& TheStore() {
  static const OpenStore store;
  return store;
}

// A step that visits all mails before it comes back, each far from the one before.
std::int32_t DistantStep(std::int32_t mails) {
  auto step = static_cast<std::int32_t>(mails * 0.6180339887);
  while (step > 1 && std::gcd(step, mails) != 1)
    --step;
  return step < 1 ? 1 : step;
}

void AskAll(benchmark::State& state, const Export& asked, bool isScattered) {
  const OpenStore& store = TheStore();
  const std::int32_t step = isScattered ? DistantStep(store.mails) : 1;
  std::int64_t mail = 0;
  // The first question makes the indexes.
  asked.ask(store, 0);
  for (auto _ : state) {
    asked.ask(store, static_cast<std::int32_t>(mail));
    mail = (mail + step) % store.mails;
  }
  state.counters["mails"] = static_cast<double>(store.mails);
  state.counters["peakKiB"] = nimport::bench::PeakMemoryKiB();
}

// Initialize, load the folders and open every folder in turn.
void OpenEveryFolder(benchmark::State& state) {
  std::int64_t folders = 0;
  std::int64_t mails = 0;
  for (auto _ : state) {
    const Session session;
    folders = mails = 0;
    session.ForEachFolder([&](HandleNode*, std::int32_t count) {
      ++folders;
      mails += count;
    });
  }
  state.counters["folders"] = static_cast<double>(folders);
  state.counters["mails"] = static_cast<double>(mails);
  state.counters["peakKiB"] = nimport::bench::PeakMemoryKiB();
}

void RegisterExports() {
  for (const Export& asked : EXPORTS) {
    const std::string name = asked.name;
    benchmark::RegisterBenchmark(("Forward/" + name).c_str(), AskAll, asked, false)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("Scattered/" + name).c_str(), AskAll, asked, true)
        ->Unit(benchmark::kMicrosecond);
  }
  benchmark::RegisterBenchmark("OpenEveryFolder", OpenEveryFolder)->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  RegisterExports();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
