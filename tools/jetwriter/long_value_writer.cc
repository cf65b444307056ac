#include "jetwriter/long_value_writer.h"

#include "jetwriter/byte_writer.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {

std::string LongValueWriter::Write(std::string_view value) {
  if (value.size() > jet::LONG_VALUE_LENGTH_MASK) {
    throw WriteError("a value of " + std::to_string(value.size()) + " bytes is too long");
  }
  ByteWriter descriptor;
  if (value.size() <= context_.options.maxInlineLongValueBytes) {
    descriptor.U32(value.size() | jet::LONG_VALUE_INLINE);
    descriptor.PadTo(jet::LONG_VALUE_DESCRIPTOR_BYTES);
    descriptor.Bytes(value);
    return descriptor.Take();
  }
  const bool isSingle = value.size() <= context_.options.maxSingleLongValueBytes;
  descriptor.U32(value.size() | (isSingle ? jet::LONG_VALUE_SINGLE : 0));
  descriptor.U32(isSingle ? WriteSingle(value) : WriteChain(value));
  descriptor.PadTo(jet::LONG_VALUE_DESCRIPTOR_BYTES);  // stamp 0, as on the chain's first page
  return descriptor.Take();
}

PageBuilder LongValueWriter::MakePage(std::uint32_t pageNumber) {
  ownedPages_.Add(pageNumber);
  return PageBuilder(context_.layout, pageNumber, jet::OWNER_LONG_VALUES);
}

std::uint32_t LongValueWriter::WriteSingle(std::string_view value) {
  if (page_ && !page_->HasRoomFor(value.size())) {
    context_.pages.Write(page_->PageNumber(), page_->ToBytes());
    page_.reset();
  }
  if (!page_) page_.emplace(MakePage(context_.pages.Allocate()));
  return page_->AddRow(value);
}

std::uint32_t LongValueWriter::WriteChain(std::string_view value) {
  const std::size_t partBytes = context_.layout.chainPartDataBytes;
  std::uint32_t pageNumber = context_.pages.Allocate();
  const std::uint32_t first = pageNumber << 8;
  while (true) {
    const std::string_view data = value.substr(0, partBytes);
    value.remove_prefix(data.size());
    const std::uint32_t nextPage = value.empty() ? 0 : context_.pages.Allocate();
    ByteWriter part;
    part.U32(nextPage << 8);
    part.Bytes(data);
    PageBuilder page = MakePage(pageNumber);
    page.AddRow(part.View());
    context_.pages.Write(pageNumber, page.ToBytes());
    if (nextPage == 0) return first;
    pageNumber = nextPage;
  }
}

void LongValueWriter::Flush() {
  if (!page_) return;
  context_.pages.Write(page_->PageNumber(), page_->ToBytes());
  freePages_.Add(page_->PageNumber());
  page_.reset();
}

}  // namespace nimport::jetwriter
