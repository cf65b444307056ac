#ifndef NIMPORT_TOOLS_JETWRITER_PAGE_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_PAGE_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::jetwriter {

// The pages of a database file that is being made. Pages are given out in ascending order and may
// be written in any. All functions throw WriteError.
class PageWriter {
 public:
  struct Format {
    std::size_t pageSize = 0;
    std::uint64_t maxFileBytes = 0;
    std::uint32_t encodingKey = 0;  // pages from 1 on are encoded with it unless it is 0
  };

  // Makes the file, or empties one that is there.
  PageWriter(const std::filesystem::path& path, const Format& format);

  // Gives out the next page. Throws when the file would become too large.
  [[nodiscard]] std::uint32_t Allocate();

  // `page` has the file's page size.
  void Write(std::uint32_t pageNumber, std::string_view page);

  [[nodiscard]] std::uint32_t PageCount() const { return pageCount_; }

  // Writes what is still in memory and closes the file. Every page must have been written.
  void Close();

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  [[noreturn]] void Fail(const std::string& what) const;

  std::filesystem::path path_;
  Format format_;
  std::unique_ptr<std::FILE, Closer> file_;
  std::uint32_t pageCount_ = 0;
  std::uint32_t nextInFile_ = 0;  // the page after the one written last
};

// A set of pages, as usage maps tell it. Takes a bit for each page of the file.
class PageSet {
 public:
  void Add(std::uint32_t pageNumber);
  [[nodiscard]] bool IsEmpty() const { return bits_.empty(); }
  // The set's bits, lowest page first; the last byte is not 0.
  [[nodiscard]] std::string_view Bits() const { return bits_; }

 private:
  std::string bits_;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_PAGE_WRITER_H_
