#include "jetwriter/usage_map_writer.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "jetwriter/byte_writer.h"

namespace nimport::jetwriter {
namespace {

constexpr std::size_t MAP_STEP_BYTES = 4;  // inline maps grow by these

std::string MakeInlineMap(std::uint32_t firstPage, std::string_view bits,
                          const jet::JetLayout& layout) {
  const std::size_t bitBytes = (bits.size() + MAP_STEP_BYTES - 1) / MAP_STEP_BYTES * MAP_STEP_BYTES;
  ByteWriter map;
  map.U8(static_cast<std::uint8_t>(jet::UsageMapForm::Inline));
  map.U32(firstPage);
  map.Bytes(bits);
  map.PadTo(jet::INLINE_MAP_BITS_OFFSET + std::max(bitBytes, layout.usageMapStartBytes));
  return map.Take();
}

std::string MakeReferenceMap(const std::vector<std::uint32_t>& bitmapPages,
                             const jet::JetLayout& layout) {
  ByteWriter map;
  map.U8(static_cast<std::uint8_t>(jet::UsageMapForm::Reference));
  for (const std::uint32_t page : bitmapPages)
    map.U32(page);
  map.PadTo(jet::INLINE_MAP_BITS_OFFSET + layout.usageMapStartBytes);
  return map.Take();
}

void WriteBitmapPage(WriterContext& context, std::uint32_t pageNumber, std::string_view bits) {
  ByteWriter page;
  page.U8(static_cast<std::uint8_t>(jet::PageType::UsageBitmap));
  page.U8(jet::PAGE_MARK);
  page.PadTo(jet::BITMAP_PAGE_BITS_OFFSET);
  page.Bytes(bits);
  page.PadTo(context.layout.pageSize);
  context.pages.Write(pageNumber, page.View());
}

std::string MakeMap(WriterContext& context, std::string_view bits) {
  const jet::JetLayout& layout = context.layout;
  const std::size_t mostBytes = context.options.maxInlineMapBytes;
  const std::size_t usualBytes = std::min(layout.usageMapStartBytes, mostBytes);
  // A table made late has its pages close together, far after the file's begin.
  const std::size_t leading = bits.empty() ? 0 : bits.find_first_not_of('\0');
  if (bits.size() > usualBytes && bits.size() - leading <= usualBytes) {
    return MakeInlineMap(static_cast<std::uint32_t>(8 * leading), bits.substr(leading), layout);
  }
  if (bits.size() <= mostBytes) return MakeInlineMap(0, bits, layout);
  const std::size_t rangeBytes = layout.PagesPerBitmapPage() / 8;
  std::vector<std::uint32_t> bitmapPages;
  for (std::size_t at = 0; at < bits.size(); at += rangeBytes) {
    const std::string_view range = bits.substr(at, rangeBytes);
    const bool isEmpty = range.find_first_not_of('\0') == std::string_view::npos;
    bitmapPages.push_back(isEmpty ? 0 : context.pages.Allocate());
    if (!isEmpty) WriteBitmapPage(context, bitmapPages.back(), range);
  }
  return MakeReferenceMap(bitmapPages, layout);
}

// Bits for the pages from `firstPage` to `endPage`: set from `firstFreePage` on.
std::string MakeFreeBits(std::uint32_t firstPage, std::uint32_t endPage,
                         std::uint32_t firstFreePage) {
  std::string bits((endPage - firstPage) / 8, '\0');
  for (std::uint32_t page = std::max(firstPage, firstFreePage); page < endPage; ++page) {
    const std::uint32_t bit = page - firstPage;
    bits[bit / 8] = static_cast<char>(bits[bit / 8] | (1 << (bit % 8)));
  }
  return bits;
}

std::string MakeFreePagesMap(WriterContext& context) {
  const jet::JetLayout& layout = context.layout;
  const std::size_t neededBytes = context.pages.PageCount() / 8 + 1;
  if (neededBytes <= context.options.maxInlineMapBytes) {
    const std::size_t bitBytes = std::max(neededBytes, layout.usageMapStartBytes);
    const auto endPage = static_cast<std::uint32_t>(8 * bitBytes);
    return MakeInlineMap(0, MakeFreeBits(0, endPage, context.pages.PageCount()), layout);
  }
  const std::uint32_t bitmapPage = context.pages.Allocate();
  const std::uint32_t rangePages = layout.PagesPerBitmapPage();
  const std::uint32_t range = context.pages.PageCount() / rangePages;
  WriteBitmapPage(
      context, bitmapPage,
      MakeFreeBits(range * rangePages, (range + 1) * rangePages, context.pages.PageCount()));
  std::vector<std::uint32_t> bitmapPages(range + 1, 0);
  bitmapPages.back() = bitmapPage;
  return MakeReferenceMap(bitmapPages, layout);
}

}  // namespace

std::uint32_t UsageMapWriter::AddMap(const PageSet& pages) {
  const std::string map = MakeMap(context_, pages.Bits());
  if (page_ && !page_->HasRoomFor(map.size())) Flush();
  if (!page_) {
    page_.emplace(context_.layout, context_.pages.Allocate(), jet::OWNER_USAGE_MAPS);
  }
  return page_->AddRow(map);
}

void UsageMapWriter::Flush() {
  if (!page_) return;
  context_.pages.Write(page_->PageNumber(), page_->ToBytes());
  page_.reset();
}

void WriteGlobalMap(WriterContext& context) {
  PageBuilder page(context.layout, jet::GLOBAL_MAP_PAGE, jet::OWNER_GLOBAL_MAP);
  page.AddRow(MakeFreePagesMap(context));
  page.AddRow(MakeInlineMap(0, "", context.layout));
  context.pages.Write(jet::GLOBAL_MAP_PAGE, page.ToBytes());
}

}  // namespace nimport::jetwriter
