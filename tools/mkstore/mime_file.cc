#include "mkstore/mime_file.h"

#include "jetwriter/write_error.h"
#include "mime/transfer_encoding.h"
#include "mkstore/encodings.h"

namespace nimport::mkstore {
namespace {

constexpr std::size_t BASE64_LINE_CHARACTERS = 76;

std::string EncodeContents(const Node& node, const std::string& defaultCharset) {
  const Contents contents = ReadContents(node);
  return contents.isText ? ToCharset(contents.bytes, defaultCharset) : contents.bytes;
}

std::string WrapBase64(std::string_view bytes, const std::string& eol) {
  const std::string text = mime::EncodeBase64Line(bytes);
  std::string lines;
  for (std::size_t at = 0; at < text.size(); at += BASE64_LINE_CHARACTERS) {
    if (at != 0) lines += eol;
    lines += text.substr(at, BASE64_LINE_CHARACTERS);
  }
  return lines;
}

// {"header": "Subject", "text": "...", "charset": "...", "encoding": "B"}; "before" and "after" for
// what stands around the words.
std::string ReadHeader(const Node& node, const std::string& charset) {
  node.ExpectMembers({"header", "before", "text", "charset", "encoding", "after"});
  const std::string encoding = node.TextOr("encoding", "B");
  if (encoding != "B" && encoding != "Q") {
    node.At("encoding").Fail("\"B\" or \"Q\" is wanted here");
  }
  return node.At("header").ToText() + ": " + node.TextOr("before", "") +
         ToEncodedWords(node.At("text").ToText(), charset, encoding[0]) + node.TextOr("after", "");
}

// {"body": contents, "charset": "...", "encoding": "base64"}.
std::string ReadBody(const Node& node, const std::string& charset, const std::string& eol) {
  node.ExpectMembers({"body", "charset", "encoding"});
  std::string bytes = EncodeContents(node.At("body"), charset);
  const std::string encoding = node.TextOr("encoding", "");
  if (encoding.empty()) return bytes;
  if (encoding == "base64") return WrapBase64(bytes, eol);
  if (encoding == "quoted-printable") return mime::EncodeQuotedPrintable(bytes);
  node.At("encoding").Fail("\"base64\" or \"quoted-printable\" is wanted here");
}

std::string ReadLine(const Node& node, const std::string& charset, const std::string& eol) {
  try {
    if (!node.IsObject()) return ToCharset(node.ToText(), charset);
    const std::string own = node.TextOr("charset", charset);
    if (node.Has("header")) return ReadHeader(node, own);
    if (node.Has("body")) return ReadBody(node, own, eol);
    return EncodeContents(node, own);
  } catch (const jetwriter::WriteError& error) {
    node.Fail(error.what());
  }
}

}  // namespace

std::optional<std::string> ReadMimeFile(const Node& mime) {
  mime.ExpectMembers({"file", "lines", "text", "base64", "charset", "eol", "endsWithEol"});
  const std::string charset = mime.TextOr("charset", "utf-8");
  const std::string eol = mime.TextOr("eol", "\r\n");
  if (const std::optional<Node> text = mime.Find("text")) {
    try {
      return EncodeContents(*text, charset);
    } catch (const jetwriter::WriteError& error) {
      text->Fail(error.what());
    }
  }
  if (const std::optional<Node> encoded = mime.Find("base64")) {
    std::optional<std::string> bytes = DecodeBase64(encoded->ToText());
    if (!bytes) encoded->Fail("this is no base64");
    return bytes;
  }
  if (!mime.Has("lines")) return std::nullopt;
  std::string bytes;
  for (const Node& line : mime.ElementsOf("lines"))
    bytes += ReadLine(line, charset, eol) + eol;
  const bool dropLast = !mime.BoolOr("endsWithEol", true) && !bytes.empty();
  if (dropLast) bytes.resize(bytes.size() - eol.size());
  return bytes;
}

}  // namespace nimport::mkstore
