// The exports on mails that are MIME files, beside a bare parse of the same files. The store is the
// one that the environment of the library names; NIMPORT_BENCH_DATABASE names its "Cabdata.mdb".
// Its biggest folder has MIME mails alone.
//
// "First" asks every mail once, as a host that wants one thing of each; "Again" asks one mail over
// and over, as the second and later questions of a host about one mail.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <gmime/gmime.h>

#include "nimport/nimport.h"
#include "open_store.h"

namespace {

using nimport::bench::Export;
using nimport::bench::IndexedTextExport;
using nimport::bench::NumberExport;
using nimport::bench::OpenStore;
using nimport::bench::TextExport;

void Release(ResultCode code, ResultString& text) {
  nimport::bench::Require(code, "an export");
  text.release(text.buffer);
}

template <TextExport* GET>
void AskText(const OpenStore& store, std::int32_t mail) {
  ResultString text{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
  Release(GET(store.session, store.folder, mail, &text), text);
}

template <NumberExport* GET>
void AskNumber(const OpenStore& store, std::int32_t mail) {
  std::int32_t number = 0;
  nimport::bench::Require(GET(store.session, store.folder, mail, &number), "an export");
  benchmark::DoNotOptimize(number);
}

template <IndexedTextExport* GET>
void AskFirstOf(const OpenStore& store, std::int32_t mail) {
  ResultString text{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
  Release(GET(store.session, store.folder, mail, 0, &text), text);
}

constexpr Export EXPORTS[] = {
    {"Subject", AskText<ML_GetMailSubject>},
    {"From", AskText<ML_GetMailFrom>},
    {"To", AskText<ML_GetMailTo>},
    {"MessageID", AskText<ML_GetMailMessageID>},
    {"ContentType", AskFirstOf<ML_GetMailContentType>},
    {"Date", AskNumber<ML_GetMailDate>},
    {"BodyCount", AskNumber<ML_GetMailBodyCount>},
    {"AttachedCount", AskNumber<ML_GetAttachedMailCount>},
    {"Source", AskText<ML_GetMailSource>},
    {"BodyPath", AskFirstOf<ML_GetMailBodyPath>},
    {"AttachedPath", AskFirstOf<ML_GetAttachedMailPath>},
};

void AskAgain(benchmark::State& state, const Export& asked) {
  const OpenStore store;
  AskNumber<ML_GetMailBodyCount>(store, 0);
  for (auto _ : state)
    asked.ask(store, 0);
}

void AskEachOnce(benchmark::State& state, const Export& asked) {
  const OpenStore store;
  AskNumber<ML_GetMailBodyCount>(store, 0);
  std::int32_t mail = 0;
  for (auto _ : state) {
    mail = (mail + 1) % store.mails;
    asked.ask(store, mail);
  }
}

// Some files of the store's MIME directory.
std::vector<std::string> ListMimeFiles() {
  constexpr std::size_t COUNT = 16;
  const char* database = std::getenv("NIMPORT_BENCH_DATABASE");
  if (database == nullptr) {
    std::fputs("NIMPORT_BENCH_DATABASE is not set\n", stderr);
    std::exit(2);
  }
  const auto directory = std::filesystem::path(database).parent_path() / "Mime";
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (paths.size() < COUNT) paths.push_back(entry.path());
  }
  return paths;
}

// Takes over `stream`.
void ParseAndForget(GMimeStream* stream) {
  GMimeParser* parser = g_mime_parser_new_with_stream(stream);
  GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
  benchmark::DoNotOptimize(message);
  g_object_unref(message);
  g_object_unref(parser);
  g_object_unref(stream);
}

// A file to a tree of parts: what every question would cost that parses its mail.
void ParseFile(benchmark::State& state) {
  g_mime_init();
  const std::vector<std::string> paths = ListMimeFiles();
  std::size_t next = 0;
  for (auto _ : state) {
    ParseAndForget(g_mime_stream_file_open(paths[next++ % paths.size()].c_str(), "rb", nullptr));
  }
}
BENCHMARK(ParseFile)->Unit(benchmark::kMicrosecond);

// The same of a file that is in memory already.
void ParseMemory(benchmark::State& state) {
  g_mime_init();
  std::vector<std::string> texts;
  for (const std::string& path : ListMimeFiles()) {
    std::ifstream file(path, std::ios::binary);
    texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  std::size_t next = 0;
  for (auto _ : state) {
    const std::string& text = texts[next++ % texts.size()];
    ParseAndForget(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  }
}
BENCHMARK(ParseMemory)->Unit(benchmark::kMicrosecond);

void RegisterExports() {
  for (const Export& asked : EXPORTS) {
    const std::string name = asked.name;
    benchmark::RegisterBenchmark(("Again/" + name).c_str(), AskAgain, asked)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("First/" + name).c_str(), AskEachOnce, asked)
        ->Unit(benchmark::kMicrosecond);
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterExports();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
