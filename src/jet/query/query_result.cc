#include "jet/query/query_result.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "jet/query/query_cursor.h"

namespace nimport::jet {
namespace {

using RowNumbers = std::vector<std::uint32_t>;

// Longer texts sort by their beginnings, as in Jet, which looks at 255 characters. A character that
// the cut goes through counts as a replacement, the same in all texts.
constexpr std::size_t MAX_SORTED_BYTES = 512;

// A piece of a row's sort key: first its beginning, later what follows in rows that agree so far.
// A million rows sort in 24 bytes each. Comparing whole keys, made again for each comparison, took
// 7.8 s for 100,000 titles with one beginning; by pieces it is 0.4 s.
struct SortEntry {
  static constexpr std::size_t PIECE_BYTES = 20;
  std::array<char, PIECE_BYTES> piece{};  // zeros after the end of the key
  std::uint32_t row = 0;
};

class Materializer {
 public:
  Materializer(QueryPlan& plan, const QueryContext& context)
      : plan_(plan),
        context_(context),
        list_(ToList(plan.chain.Tables()), *context.budget),
        rows_(context) {}

  RowList Make() {
    Collect();
    if (!plan_.NeedsAllRows()) {
      list_.ShrinkToFit();
      return std::move(list_);
    }
    const MemoryHold hold(*context_.budget, list_.Size() * sizeof(std::uint32_t));
    RowNumbers order(list_.Size());
    std::iota(order.begin(), order.end(), 0U);
    if (plan_.distinctTables.any()) {
      const std::vector<TableNumber> tables = ToList(plan_.distinctTables);
      RemoveDuplicates(order, [&](std::uint32_t row) { return IdKey(row, tables); });
    }
    if (plan_.isDistinct) {
      RemoveDuplicates(order, [&](std::uint32_t row) { return OutputKey(row); });
    }
    if (!plan_.sortKeys.empty()) Sort(order);
    if (plan_.top) CutToTop(order);
    list_.Select(order);
    return std::move(list_);
  }

 private:
  void Collect() {
    const bool isCut = plan_.top && !plan_.isTopPercent && plan_.sortKeys.empty() &&
                       !plan_.isDistinct && plan_.distinctTables.none();
    const std::size_t limit = isCut ? *plan_.top : std::numeric_limits<std::size_t>::max();
    JoinCursor cursor(plan_.chain, context_);
    while (list_.Size() < limit && cursor.Next())
      list_.Add(cursor.Rows());
  }

  // Of the row that was put.
  [[nodiscard]] Value EvaluateHere(const BoundPtr& expression) const {
    return Evaluate(*expression, rows_);
  }

  std::string IdKey(std::uint32_t row, const std::vector<TableNumber>& tables) {
    list_.Put(row, rows_);
    std::string key;
    for (const TableNumber tableNumber : tables) {
      const std::uint32_t id = rows_.Id(tableNumber);
      key.append(reinterpret_cast<const char*>(&id), sizeof id);
    }
    return key;
  }

  std::string OutputKey(std::uint32_t row) {
    list_.Put(row, rows_);
    std::string key;
    for (const QueryPlan::Column& column : plan_.columns) {
      AppendSortKey(EvaluateHere(column.expression), context_.texts, key, *context_.budget);
    }
    return key;
  }

  [[nodiscard]] static Value CutForSorting(Value value) {
    auto* text = std::get_if<Text>(&value);
    if (text != nullptr && text->bytes.size() > MAX_SORTED_BYTES) {
      text->bytes.resize(MAX_SORTED_BYTES);
    }
    return value;
  }

  // Appends what the row that was put sorts by in one column.
  void AppendKeyOfColumn(std::size_t column, std::string& key) {
    const QueryPlan::SortKey& sortKey = plan_.sortKeys[column];
    const std::size_t start = key.size();
    AppendSortKey(CutForSorting(EvaluateHere(sortKey.expression)), context_.texts, key,
                  *context_.budget);
    if (!sortKey.isDescending) return;
    for (std::size_t i = start; i < key.size(); ++i)
      key[i] = static_cast<char>(~key[i]);
  }

  std::string SortKeyOf(std::uint32_t row) {
    list_.Put(row, rows_);
    std::string key;
    for (std::size_t column = 0; column < plan_.sortKeys.size(); ++column)
      AppendKeyOfColumn(column, key);
    return key;
  }

  // Keeps the first row of each key. Only rows whose hashes agree are looked at again.
  template <typename KeyOf>
  void RemoveDuplicates(RowNumbers& order, KeyOf keyOf) {
    std::vector<std::pair<std::size_t, std::uint32_t>> hashes;
    const MemoryHold hold(*context_.budget, order.size() * sizeof hashes[0]);
    hashes.reserve(order.size());
    for (const std::uint32_t row : order) {
      hashes.emplace_back(std::hash<std::string>{}(keyOf(row)), row);
    }
    std::sort(hashes.begin(), hashes.end());
    std::vector<bool> isDuplicate(list_.Size());
    for (std::size_t begin = 0; begin < hashes.size();) {
      std::size_t end = begin + 1;
      while (end < hashes.size() && hashes[end].first == hashes[begin].first)
        ++end;
      MarkDuplicates(std::span(hashes).subspan(begin, end - begin), keyOf, isDuplicate);
      begin = end;
    }
    std::erase_if(order, [&isDuplicate](std::uint32_t row) { return isDuplicate[row]; });
  }

  template <typename KeyOf>
  void MarkDuplicates(std::span<const std::pair<std::size_t, std::uint32_t>> sameHash, KeyOf keyOf,
                      std::vector<bool>& isDuplicate) {
    if (sameHash.size() < 2) return;
    std::vector<std::string> keys;
    MemoryHold hold(*context_.budget);
    std::uint64_t keyBytes = 0;
    for (const auto& [hash, row] : sameHash) {
      std::string key = keyOf(row);
      keyBytes += key.size();
      context_.budget->Work(keyBytes);
      hold.Resize(keyBytes);
      if (std::find(keys.begin(), keys.end(), key) != keys.end()) {
        isDuplicate[row] = true;
        keyBytes -= key.size();
      } else {
        keys.push_back(std::move(key));
      }
    }
  }

  // A place in the sort keys.
  struct KeyPlace {
    std::size_t column = 0;
    std::size_t offset = 0;  // bytes, in the column's key
  };

  // Rows that agree in their keys up to `from`.
  struct Run {
    std::span<SortEntry> entries;
    KeyPlace from;
  };

  void Sort(RowNumbers& order) {
    const MemoryHold hold(*context_.budget, order.size() * sizeof(SortEntry));
    std::vector<SortEntry> entries(order.size());
    for (std::size_t i = 0; i < order.size(); ++i)
      entries[i].row = order[i];
    std::vector<Run> waiting{{.entries = entries, .from = {}}};
    while (!waiting.empty()) {
      const Run run = waiting.back();
      waiting.pop_back();
      SortByPiece(run);
      AddEqualRuns(run, waiting);
    }
    std::transform(entries.begin(), entries.end(), order.begin(),
                   [](const SortEntry& entry) { return entry.row; });
  }

  void SortByPiece(const Run& run) {
    context_.budget->Work(STEPS_PER_ROW * run.entries.size());
    for (SortEntry& entry : run.entries)
      entry.piece = PieceOf(entry.row, run.from).bytes;
    std::sort(run.entries.begin(), run.entries.end(),
              [](const SortEntry& left, const SortEntry& right) {
                const int order =
                    std::memcmp(left.piece.data(), right.piece.data(), SortEntry::PIECE_BYTES);
                return order != 0 ? order < 0 : left.row < right.row;
              });
  }

  struct KeyPiece {
    std::array<char, SortEntry::PIECE_BYTES> bytes{};
    KeyPlace end;
  };

  // Evaluates only those columns whose keys the piece has a part of.
  KeyPiece PieceOf(std::uint32_t row, KeyPlace from) {
    list_.Put(row, rows_);
    KeyPiece piece{.bytes = {}, .end = from};
    std::size_t filled = 0;
    std::string key;
    while (filled < SortEntry::PIECE_BYTES && piece.end.column < plan_.sortKeys.size()) {
      key.clear();
      AppendKeyOfColumn(piece.end.column, key);
      const std::size_t taken =
          key.copy(&piece.bytes[filled], SortEntry::PIECE_BYTES - filled, piece.end.offset);
      filled += taken;
      piece.end.offset += taken;
      if (piece.end.offset == key.size()) piece.end = {.column = piece.end.column + 1};
    }
    return piece;
  }

  // No key of a column is the beginning of another one, so rows that agree in a piece have come to
  // the same place in their keys.
  void AddEqualRuns(const Run& run, std::vector<Run>& waiting) {
    for (std::size_t begin = 0; begin < run.entries.size();) {
      std::size_t end = begin + 1;
      while (end < run.entries.size() && run.entries[end].piece == run.entries[begin].piece)
        ++end;
      if (end - begin > 1) {
        const KeyPlace next = PieceOf(run.entries[begin].row, run.from).end;
        if (next.column < plan_.sortKeys.size()) {
          waiting.push_back({.entries = run.entries.subspan(begin, end - begin), .from = next});
        }
      }
      begin = end;
    }
  }

  void CutToTop(RowNumbers& order) {
    std::uint64_t count = *plan_.top;
    if (plan_.isTopPercent) {
      constexpr std::uint64_t HUNDRED = 100;
      count = (order.size() * std::min(count, HUNDRED) + HUNDRED - 1) / HUNDRED;
    }
    if (count >= order.size()) return;
    auto size = static_cast<std::size_t>(count);
    if (size > 0 && !plan_.sortKeys.empty()) {
      // Rows that the sort cannot tell from the last one belong to the result as well.
      const std::string lastKey = SortKeyOf(order[size - 1]);
      while (size < order.size() && SortKeyOf(order[size]) == lastKey)
        ++size;
    }
    order.resize(size);
  }

  QueryPlan& plan_;
  const QueryContext& context_;
  RowList list_;
  RowSet rows_;
};

}  // namespace

const RowList& Materialize(QueryPlan& plan, const QueryContext& context) {
  if (!plan.rows) plan.rows = Materializer(plan, context).Make();
  return *plan.rows;
}

}  // namespace nimport::jet
