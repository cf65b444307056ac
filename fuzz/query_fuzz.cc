// Stored queries over two small tables. Each line of the input is a row of the query's definition:
// a digit for the clause, a digit for its flag, then two names and an expression between tabs.
#include <algorithm>
#include <optional>
#include <string>

#include "fuzz_input.h"
#include "tests/jet/test_catalog.h"

using namespace nimport::jet;

namespace {

// How much of a result is asked for: each question pays for some work.
constexpr int MAX_ROWS = 500;
constexpr std::size_t MAX_COLUMNS_READ = 20;

// A hundredth of what a small file may take, so that work that is not counted stands out: the run
// is given two seconds for an input.
constexpr std::uint64_t MAX_STEPS = 20'000'000;

// Cuts off and returns what stands before the next `end`.
std::string_view Take(std::string_view& text, char end) {
  const std::string_view part = text.substr(0, text.find(end));
  text.remove_prefix(std::min(text.size(), part.size() + 1));
  return part;
}

// Its database is written once.
void AddTables(TestCatalog& catalog) {
  catalog.limits.steps = MAX_STEPS;
  catalog.AddTable("A", {{"k", ColumnType::Long}, {"t", ColumnType::Text}},
                   {{1, Text{"one"}}, {2, Value()}, {Value(), Text{"three"}}, {1, Text{"ONE"}}});
  catalog.AddTable(
      "B",
      {{"k", ColumnType::Integer},
       {"x", ColumnType::Double},
       {"d", ColumnType::DateTime},
       {"b", ColumnType::Boolean}},
      {{std::int16_t{1}, 1.5, Date{35000.5}, true}, {std::int16_t{3}, Value(), Value(), false}});
}

QueryRows ReadDefinition(std::string_view text) {
  QueryRows rows("Q");
  while (!text.empty()) {
    std::string_view line = Take(text, '\n');
    if (line.size() < 2) continue;
    const int attribute = line[0] - '0';
    const int flag = line[1] - '0';
    line.remove_prefix(2);
    const std::string name1(Take(line, '\t'));
    const std::string name2(Take(line, '\t'));
    rows.Add(attribute, name1, name2, std::string(line), flag);
  }
  return rows;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static TestCatalog catalog;
  static const bool isReady = (AddTables(catalog), true);
  (void)isReady;
  // A query has a bound of work of its own, whatever its size.
  const nimport::fuzz::TimeLimit limit(0, 2);
  catalog.AddQuery(ReadDefinition(nimport::fuzz::ToText(data, size)));
  try {
    const auto query = std::make_shared<PreparedQuery>(catalog, "Q");
    const auto rows = std::make_unique<QueryRecordset>(query);
    const std::size_t columns = std::min(query->Columns().size(), MAX_COLUMNS_READ);
    for (int count = 0; !rows->IsEof() && count < MAX_ROWS; rows->MoveNext(), ++count) {
      for (std::size_t column = 0; column < columns; ++column)
        (void)rows->GetFieldValue(column);
    }
    if (!query->Columns().empty()) (void)rows->FindFirst(query->Columns()[0].name, 1);
  } catch (const DatabaseError&) {
  }
  return 0;
}
