#include "jet/query_result.h"

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
#include <string_view>
#include <utility>
#include <vector>

#include "jet/query_cursor.h"

namespace nimport::jet {
namespace {

using RowNumbers = std::vector<std::uint32_t>;

// The beginning of a row's sort key. Keys of dates and numbers are whole in it; longer ones are
// made again where the beginnings agree, so that a million rows sort in 24 bytes each.
struct SortEntry {
  static constexpr std::size_t PREFIX_BYTES = 19;
  std::array<char, PREFIX_BYTES> prefix{};
  bool isWhole = false;
  std::uint32_t row = 0;
};

class ResultMaker {
 public:
  ResultMaker(QueryPlan& plan, const QueryContext& context)
      : plan_(plan), context_(context), list_(ToList(plan.chain.Slots())), rows_(context) {}

  RowList Make() {
    Collect();
    RowNumbers order(list_.Size());
    std::iota(order.begin(), order.end(), 0U);
    if (plan_.distinctSlots.any()) {
      const std::vector<Slot> slots = ToList(plan_.distinctSlots);
      RemoveDuplicates(order, [&](std::uint32_t row) { return IdKey(row, slots); });
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
                       !plan_.isDistinct && plan_.distinctSlots.none();
    const std::size_t limit = isCut ? *plan_.top : std::numeric_limits<std::size_t>::max();
    JoinCursor cursor(plan_.chain, context_);
    while (list_.Size() < limit && cursor.Next())
      list_.Add(cursor.Rows(), context_);
  }

  std::string IdKey(std::uint32_t row, const std::vector<Slot>& slots) {
    list_.Put(row, rows_);
    std::string key;
    for (const Slot slot : slots) {
      const std::uint32_t id = rows_.Id(slot);
      key.append(reinterpret_cast<const char*>(&id), sizeof id);
    }
    return key;
  }

  std::string OutputKey(std::uint32_t row) {
    list_.Put(row, rows_);
    std::string key;
    for (const QueryPlan::Column& column : plan_.columns) {
      AppendSortKey(Evaluate(*column.expression, rows_, context_.texts), context_.texts, key);
    }
    return key;
  }

  std::string SortKeyOf(std::uint32_t row) {
    list_.Put(row, rows_);
    std::string key;
    for (const QueryPlan::SortKey& sortKey : plan_.sortKeys) {
      const std::size_t start = key.size();
      AppendSortKey(Evaluate(*sortKey.expression, rows_, context_.texts), context_.texts, key);
      if (!sortKey.isDescending) continue;
      for (std::size_t i = start; i < key.size(); ++i)
        key[i] = static_cast<char>(~key[i]);
    }
    return key;
  }

  // Keeps the first row of each key. Only rows whose hashes agree are looked at again.
  template <typename KeyOf>
  void RemoveDuplicates(RowNumbers& order, KeyOf keyOf) {
    std::vector<std::pair<std::size_t, std::uint32_t>> hashes;
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
  static void MarkDuplicates(std::span<const std::pair<std::size_t, std::uint32_t>> sameHash,
                             KeyOf keyOf, std::vector<bool>& isDuplicate) {
    if (sameHash.size() < 2) return;
    std::vector<std::string> keys;
    for (const auto& [hash, row] : sameHash) {
      std::string key = keyOf(row);
      if (std::find(keys.begin(), keys.end(), key) != keys.end()) {
        isDuplicate[row] = true;
      } else {
        keys.push_back(std::move(key));
      }
    }
  }

  SortEntry MakeSortEntry(std::uint32_t row) {
    const std::string key = SortKeyOf(row);
    SortEntry entry;
    entry.row = row;
    entry.isWhole = key.size() <= SortEntry::PREFIX_BYTES;
    key.copy(entry.prefix.data(), SortEntry::PREFIX_BYTES);
    return entry;
  }

  bool IsBefore(const SortEntry& left, const SortEntry& right) {
    const int order = std::memcmp(left.prefix.data(), right.prefix.data(), SortEntry::PREFIX_BYTES);
    if (order != 0) return order < 0;
    if (!left.isWhole && !right.isWhole && left.row != right.row) {
      const int whole = SortKeyOf(left.row).compare(SortKeyOf(right.row));
      if (whole != 0) return whole < 0;
    }
    return left.row < right.row;
  }

  void Sort(RowNumbers& order) {
    std::vector<SortEntry> entries;
    entries.reserve(order.size());
    for (const std::uint32_t row : order)
      entries.push_back(MakeSortEntry(row));
    std::sort(
        entries.begin(), entries.end(),
        [this](const SortEntry& left, const SortEntry& right) { return IsBefore(left, right); });
    std::transform(entries.begin(), entries.end(), order.begin(),
                   [](const SortEntry& entry) { return entry.row; });
  }

  void CutToTop(RowNumbers& order) {
    std::uint64_t count = *plan_.top;
    if (plan_.isTopPercent) {
      constexpr std::uint64_t HUNDRED = 100;
      count = (order.size() * std::min(count, HUNDRED) + HUNDRED - 1) / HUNDRED;
    }
    if (count >= order.size()) return;
    std::size_t size = count;
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

const RowList& RowsOf(QueryPlan& plan, const QueryContext& context) {
  if (!plan.rows) plan.rows = ResultMaker(plan, context).Make();
  return *plan.rows;
}

}  // namespace nimport::jet
