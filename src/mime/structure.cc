#include "mime/structure.h"

#include <algorithm>
#include <optional>
#include <string>

#include "mime/header_block.h"
#include "mime/parameterized_value.h"
#include "text/ascii.h"

namespace nimport::mime {
namespace {

constexpr std::string_view PLAIN_TEXT = "text/plain";
constexpr std::string_view ANY_BYTES = "application/octet-stream";
constexpr std::string_view ENCLOSED_MESSAGE = "message/rfc822";

std::string WithoutAngleBrackets(std::string_view contentId) {
  contentId = text::Trim(contentId);
  if (contentId.starts_with('<')) contentId.remove_prefix(1);
  if (contentId.ends_with('>')) contentId.remove_suffix(1);
  return std::string(contentId);
}

// A charset or boundary: unlike file names they end at a blank or comment when they stand unquoted.
std::string FindWord(const ParameterizedValue& value, std::string_view name) {
  const std::string text = value.Find(name).value_or("");
  return text.substr(0, text.find_first_of(" \t("));
}

Disposition ToDisposition(std::string_view word) {
  if (word.empty()) return Disposition::None;
  // What nobody knows is to be treated as an attachment.
  return text::EqualsIgnoringCase(word, "inline") ? Disposition::Inline : Disposition::Attachment;
}

// Where the lines begin that start with two dashes, as every delimiter does.
std::vector<std::size_t> FindDashLines(std::string_view text) {
  constexpr std::string_view START = "\n--";
  std::vector<std::size_t> lines;
  if (text.starts_with(START.substr(1))) lines.push_back(0);
  for (std::size_t i = text.find(START); i != std::string_view::npos; i = text.find(START, i + 1)) {
    lines.push_back(i + 1);
  }
  return lines;
}

class StructureReader {
 public:
  StructureReader(TextForm form, std::string_view mail) : form_(form), mail_(mail) {}

  std::vector<Part> Read() {
    ReadEntity({0, mail_.size()}, {.place = HeaderPlace::Mail, .defaultType = PLAIN_TEXT});
    return std::move(parts_);
  }

 private:
  struct Context {
    HeaderPlace place = HeaderPlace::Part;
    std::size_t parent = NO_PART;
    int depth = 0;
    std::string_view defaultType;
  };

  // Reads the mail, enclosed mail or part that fills `range`, with all that lies in it.
  void ReadEntity(TextRange range, const Context& context) {
    const std::string_view text = range.In(mail_);
    const HeaderBlock header = HeaderBlock::Read(text, context.place);
    Part part;
    part.parent = context.parent;
    part.header = RangeOf(header.lines());
    part.contents = {range.begin + header.contentStart(), range.end};
    const ParameterizedValue type =
        ParameterizedValue::Parse(form_, header.Find("Content-Type").value_or(""));
    ReadHeader(header, type, context.defaultType, part);
    std::string boundary = type.Find("boundary").value_or("");
    // Decoding may bring up a line end, with which a comparison would run over many lines.
    boundary.resize(std::min(boundary.find_first_of("\r\n"), boundary.size()));
    boundary.erase(boundary.find_last_not_of(" \t") + 1);
    const std::size_t self = parts_.size();
    parts_.push_back(std::move(part));
    if (context.depth < MAX_DEPTH) ReadInside(self, boundary, context.depth + 1);
    if (parts_[self].kind == PartKind::Leaf && HasType(parts_[self], "multipart/")) {
      parts_[self].type = PLAIN_TEXT;
    }
  }

  [[nodiscard]] TextRange RangeOf(std::string_view piece) const {
    if (piece.empty()) return {};
    const auto begin = static_cast<std::size_t>(piece.data() - mail_.data());
    return {begin, begin + piece.size()};
  }

  void ReadHeader(const HeaderBlock& header, const ParameterizedValue& type,
                  std::string_view defaultType, Part& part) const {
    const ParameterizedValue disposition =
        ParameterizedValue::Parse(form_, header.Find("Content-Disposition").value_or(""));
    part.disposition = ToDisposition(disposition.word());
    part.encoding = FindTransferEncoding(header.Find("Content-Transfer-Encoding").value_or(""));
    part.contentId = WithoutAngleBrackets(header.Find("Content-ID").value_or(""));
    part.charset = FindWord(type, "charset");
    part.start = WithoutAngleBrackets(type.Find("start").value_or(""));
    part.fileName = disposition.Find("filename").value_or("");
    if (part.fileName.empty()) part.fileName = type.Find("name").value_or("");
    part.fileName = text::Trim(part.fileName);
    part.type = ToMediaType(type.word());
    if (!part.type.empty()) return;
    // "Content-Type: text" and the like come from before MIME, and mean text; files are not text.
    const bool isFile = !part.fileName.empty() || part.disposition == Disposition::Attachment;
    const bool isAbsent = type.word().empty();
    part.type = isAbsent ? defaultType : isFile ? ANY_BYTES : PLAIN_TEXT;
  }

  void ReadInside(std::size_t self, std::string_view boundary, int depth) {
    const bool isPlain = parts_[self].encoding == TransferEncoding::Identity;
    if (HasType(parts_[self], "multipart/") && !boundary.empty()) {
      ReadMultipart(self, boundary, depth);
    } else if (HasType(parts_[self], ENCLOSED_MESSAGE) && isPlain && parts_.size() < MAX_PARTS) {
      parts_[self].kind = PartKind::Message;
      ReadEntity(
          parts_[self].contents,
          {.place = HeaderPlace::Mail, .parent = self, .depth = depth, .defaultType = PLAIN_TEXT});
    }
  }

  void ReadMultipart(std::size_t self, std::string_view boundary, int depth) {
    const bool isDigest = HasType(parts_[self], "multipart/digest");
    const Context context{.place = HeaderPlace::Part,
                          .parent = self,
                          .depth = depth,
                          .defaultType = isDigest ? ENCLOSED_MESSAGE : PLAIN_TEXT};
    const std::size_t end = parts_[self].contents.end;
    std::optional<Delimiter> opening = FindDelimiter(parts_[self].contents, boundary);
    while (opening && !opening->isClosing) {
      parts_[self].kind = PartKind::Multipart;
      const std::optional<Delimiter> next = parts_.size() + 1 < MAX_PARTS
                                                ? FindDelimiter({opening->end, end}, boundary)
                                                : std::nullopt;
      // Without another delimiter the mail was cut off: the part reaches to the end.
      ReadEntity({opening->end, next ? next->begin : end}, context);
      opening = next;
    }
  }

  struct Delimiter {
    std::size_t begin;  // at the line end before it, which belongs to it
    std::size_t end;    // after its own line end
    bool isClosing;
  };

  [[nodiscard]] std::optional<Delimiter> FindDelimiter(TextRange range, std::string_view boundary) {
    if (!dashLines_) dashLines_ = FindDashLines(mail_);
    auto start = std::ranges::lower_bound(*dashLines_, range.begin);
    // The two dashes themselves may reach beyond a range that was cut off.
    for (; start != dashLines_->end() && *start + 2 <= range.end; ++start) {
      std::string_view line = mail_.substr(*start, range.end - *start);
      if (line.substr(2, boundary.size()) != boundary) continue;
      line = TakeLine(line);
      const std::string_view mark =
          text::Trim(line.substr(std::min(2 + boundary.size(), line.size())));
      if (!mark.empty() && mark != "--") continue;
      return Delimiter{WithoutLineEnd({range.begin, *start}), *start + line.size(), mark == "--"};
    }
    return std::nullopt;
  }

  // The end of `range` moved before the line end that stands there.
  [[nodiscard]] std::size_t WithoutLineEnd(TextRange range) const {
    std::string_view text = range.In(mail_);
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.size() < range.end - range.begin && text.ends_with('\r')) text.remove_suffix(1);
    return range.begin + text.size();
  }

  TextForm form_;
  std::string_view mail_;
  std::vector<Part> parts_;
  std::optional<std::vector<std::size_t>> dashLines_;  // found once, for all depths
};

}  // namespace

bool HasType(const Part& part, std::string_view type) {
  const std::string_view own = part.type;
  return text::EqualsIgnoringCase(type.ends_with('/') ? own.substr(0, type.size()) : own, type);
}

std::vector<Part> ReadStructure(TextForm form, std::string_view mail) {
  return StructureReader(form, mail).Read();
}

}  // namespace nimport::mime
