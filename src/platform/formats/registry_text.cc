#include "platform/formats/registry_text.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/letter_case.h"
#include "text/utf16.h"

namespace nimport::platform {
namespace {

// What a value may take, its NUL not counted.
constexpr std::size_t MAX_VALUE_BYTES = 519;
// Hexadecimal data beyond this is read over; as text of any encoding it is too long already.
constexpr std::size_t MAX_HEX_BYTES = 4096;

// Registry types. Those of text are converted to the caller's code page; of all others the bytes
// are handed out as they are.
constexpr unsigned TYPE_STRING = 1;
constexpr unsigned TYPE_EXPANDABLE = 2;
constexpr unsigned TYPE_BINARY = 3;
constexpr unsigned TYPE_STRINGS = 7;

enum class Form { Unknown, Regedit4, Version5, Wine };

constexpr std::pair<std::u16string_view, Form> SIGNATURES[] = {
    {u"REGEDIT4", Form::Regedit4},
    {u"Windows Registry Editor Version 5.00", Form::Version5},
    {u"WINE REGISTRY Version 2", Form::Wine}};

// The lines of a registry file. Lines that nobody needs are not converted.
class LineReader {
 public:
  LineReader(std::string_view file, const text::CodePageConverter& text)
      : rest_(file), text_(text) {
    if (SkipPrefix("\xFF\xFE")) {
      isWide_ = true;
    } else {
      SkipPrefix("\xEF\xBB\xBF");
    }
    codePage_ = text::CODE_PAGE_UTF8;
    const std::u16string first = Next().value_or(u"");
    for (const auto& [signature, form] : SIGNATURES) {
      if (text::Trim(first) == signature) form_ = form;
    }
    if (form_ == Form::Regedit4) codePage_ = text::CODE_PAGE_JAPANESE;
  }

  [[nodiscard]] Form form() const { return form_; }

  // Moves to the next line; false at the end.
  [[nodiscard]] bool Advance() {
    if (rest_.empty()) return false;
    const std::size_t end = FindLineEnd();
    line_ = rest_.substr(0, end);
    rest_.remove_prefix(std::min(rest_.size(), end + (isWide_ ? 2 : 1)));
    return true;
  }

  // The line's first byte; '\0' of an empty one.
  [[nodiscard]] char FirstByte() const { return line_.empty() ? '\0' : line_[0]; }

  // The line as text.
  [[nodiscard]] std::u16string Line() const {
    if (isWide_) return text::Utf16FromLittleEndian(line_);
    if (auto utf16 = text_.ToUtf16Strict(line_, codePage_)) return *std::move(utf16);
    return text_.ToUtf16(line_, text::CODE_PAGE_JAPANESE);
  }

  [[nodiscard]] std::optional<std::u16string> Next() {
    if (!Advance()) return std::nullopt;
    return Line();
  }

 private:
  bool SkipPrefix(std::string_view prefix) {
    if (!rest_.starts_with(prefix)) return false;
    rest_.remove_prefix(prefix.size());
    return true;
  }

  [[nodiscard]] std::size_t FindLineEnd() const {
    std::size_t end = rest_.find('\n');
    if (!isWide_) return std::min(end, rest_.size());
    const auto isUnit = [&](std::size_t position) {
      return position % 2 == 0 && position + 1 < rest_.size() && rest_[position + 1] == '\0';
    };
    while (end != std::string_view::npos && !isUnit(end))
      end = rest_.find('\n', end + 1);
    return std::min(end, rest_.size());
  }

  std::string_view rest_;
  std::string_view line_;
  const text::CodePageConverter& text_;
  bool isWide_ = false;
  unsigned codePage_ = text::CODE_PAGE_UTF8;
  Form form_ = Form::Unknown;
};

// Reads a line from left to right.
class Cursor {
 public:
  Cursor(std::u16string_view text, Form form) : text_(text), form_(form) {}

  [[nodiscard]] bool Skip(std::u16string_view wanted) {
    if (!text_.substr(position_).starts_with(wanted)) return false;
    position_ += wanted.size();
    return true;
  }

  void SkipBlanks() {
    while (Skip(u" ") || Skip(u"\t")) {
    }
  }

  [[nodiscard]] std::u16string_view Rest() const { return text_.substr(position_); }

  // The text up to an unescaped `end`, which is skipped. Empty when there is none.
  [[nodiscard]] std::optional<std::u16string> TakeUntil(char16_t end) {
    std::u16string result;
    while (position_ < text_.size()) {
      const char16_t unit = text_[position_++];
      if (unit == end) return result;
      result += unit == u'\\' ? TakeEscape() : unit;
    }
    return std::nullopt;
  }

  // A run of at most `maxDigits` digits; 0 when there is none.
  [[nodiscard]] unsigned TakeNumber(unsigned base, unsigned maxDigits) {
    unsigned value = 0;
    for (unsigned count = 0; count < maxDigits && position_ < text_.size(); ++count) {
      const unsigned digit = DigitOf(text_[position_]);
      if (digit >= base) break;
      value = value * base + digit;
      ++position_;
    }
    return value;
  }

  [[nodiscard]] static unsigned DigitOf(char16_t unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10u;
    if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10u;
    return 16;
  }

 private:
  // What stands after a '\'.
  char16_t TakeEscape() {
    if (position_ == text_.size()) return u'\\';
    const char16_t unit = text_[position_];
    if (form_ != Form::Wine) {
      // Exports escape these two alone; people who write by hand often none.
      if (unit != u'\\' && unit != u'"') return u'\\';
      ++position_;
      return unit;
    }
    if (Skip(u"x")) return static_cast<char16_t>(TakeNumber(16, 4));
    if (DigitOf(unit) < 8) return static_cast<char16_t>(TakeNumber(8, 3));
    constexpr std::u16string_view LETTERS = u"abefnrtv";
    constexpr std::u16string_view MEANINGS = u"\a\b\x1B\f\n\r\t\v";
    ++position_;
    const std::size_t known = LETTERS.find(unit);
    return known == std::u16string_view::npos ? unit : MEANINGS[known];
  }

  std::u16string_view text_;
  Form form_;
  std::size_t position_ = 0;
};

// Walks a file for one value.
class Search {
 public:
  Search(std::string_view file, const RegistryQuery& query, const text::CodePageConverter& text)
      : lines_(file, text), text_(text), query_(query) {
    const std::u16string key = text.ToUtf16(query.key, text::CODE_PAGE_JAPANESE);
    const bool isMachine = query.hive == RegistryHive::LocalMachine;
    if (lines_.form() == Form::Wine) {
      wantedKeys_ = {text::FoldCase(key)};
    } else if (isMachine) {
      wantedKeys_ = {text::FoldCase(u"HKEY_LOCAL_MACHINE\\" + key),
                     text::FoldCase(u"HKLM\\" + key)};
    } else {
      wantedKeys_ = {text::FoldCase(u"HKEY_CURRENT_USER\\" + key), text::FoldCase(u"HKCU\\" + key)};
    }
    wantedName_ = text::FoldCase(text.ToUtf16(query.valueName, text::CODE_PAGE_JAPANESE));
  }

  [[nodiscard]] std::optional<std::string> Run() {
    if (lines_.form() == Form::Unknown) return std::nullopt;
    bool isInKey = false;
    bool isInHead = lines_.form() == Form::Wine;
    while (lines_.Advance()) {
      const bool mayBeKey = lines_.FirstByte() == '[';
      if (!mayBeKey && !isInKey && !isInHead) continue;
      const std::u16string line = lines_.Line();
      if (line.starts_with(u'[')) {
        isInHead = false;
        isInKey = IsWantedKey(line);
      } else if (isInKey) {
        ReadValue(line);
      } else if (isInHead && !IsOfWantedHive(line)) {
        return std::nullopt;
      }
    }
    return Finish();
  }

 private:
  // Whether a line of a Wine file's head leaves it open that the file is of the wanted hive.
  [[nodiscard]] bool IsOfWantedHive(const std::u16string& line) const {
    const std::u16string folded = text::FoldCase(line);
    if (folded.find(u"all keys relative to") == std::u16string::npos) return true;
    const char16_t* name =
        query_.hive == RegistryHive::LocalMachine ? u"\\\\machine" : u"\\\\user\\\\s-";
    return folded.find(name) != std::u16string::npos;
  }

  // Takes in a line "[key]"; one that deletes the key takes back what was found.
  [[nodiscard]] bool IsWantedKey(const std::u16string& line) {
    std::u16string_view name = text::Trim(line);
    name.remove_prefix(1);
    const bool isDeleted = name.starts_with(u'-');
    if (isDeleted) name.remove_prefix(1);
    std::u16string key;
    if (lines_.form() == Form::Wine) {
      key = text::FoldCase(Cursor(name, Form::Wine).TakeUntil(u']').value_or(u""));
    } else {
      key = text::FoldCase(name.substr(0, name.rfind(u']')));
    }
    const bool isWanted =
        std::find(wantedKeys_.begin(), wantedKeys_.end(), key) != wantedKeys_.end();
    if (isWanted && isDeleted) {
      found_.reset();
      isBroken_ = false;
    }
    return isWanted && !isDeleted;
  }

  // Takes in a line "name"=value of the wanted key.
  void ReadValue(const std::u16string& line) {
    Cursor cursor(text::Trim(line), lines_.form());
    std::optional<std::u16string> name;
    if (cursor.Skip(u"\"")) {
      name = cursor.TakeUntil(u'"');
    } else if (cursor.Skip(u"@")) {
      name.emplace();
    }
    cursor.SkipBlanks();
    if (!name || text::FoldCase(*name) != wantedName_ || !cursor.Skip(u"=")) return;
    cursor.SkipBlanks();
    found_.reset();
    isBroken_ = !cursor.Skip(u"-") && !ReadData(cursor);
  }

  // What stands after "name"=. False when it is none of the forms or ends early.
  [[nodiscard]] bool ReadData(Cursor& cursor) {
    if (cursor.Skip(u"\"")) return ReadQuoted(cursor);
    if (cursor.Skip(u"str")) {
      return ReadType(cursor, TYPE_STRING).has_value() && cursor.Skip(u"\"") && ReadQuoted(cursor);
    }
    if (cursor.Skip(u"hex")) return ReadHex(cursor);
    return cursor.Skip(u"dword:") && ReadDword(cursor);
  }

  // "(2):" after "hex" or "str"; without a number `assumed`. Empty when it is broken.
  [[nodiscard]] static std::optional<unsigned> ReadType(Cursor& cursor, unsigned assumed) {
    unsigned type = assumed;
    if (cursor.Skip(u"(")) {
      type = cursor.TakeNumber(16, 8);
      if (!cursor.Skip(u")")) return std::nullopt;
    }
    if (!cursor.Skip(u":")) return std::nullopt;
    return type;
  }

  [[nodiscard]] static bool IsText(unsigned type) {
    return type == TYPE_STRING || type == TYPE_EXPANDABLE || type == TYPE_STRINGS;
  }

  [[nodiscard]] bool ReadQuoted(Cursor& cursor) {
    const auto value = cursor.TakeUntil(u'"');
    if (value) found_ = text_.FromUtf16(*value, text::CODE_PAGE_JAPANESE);
    return value.has_value();
  }

  // Eight digits; the registry keeps the number with its lowest byte first.
  [[nodiscard]] bool ReadDword(Cursor& cursor) {
    if (cursor.Rest().empty() || Cursor::DigitOf(cursor.Rest()[0]) >= 16) return false;
    const unsigned number = cursor.TakeNumber(16, 8);
    std::string bytes;
    for (unsigned shift = 0; shift < 32; shift += 8)
      bytes += static_cast<char>(number >> shift & 0xFF);
    found_ = std::move(bytes);
    return true;
  }

  [[nodiscard]] bool ReadHex(Cursor& cursor) {
    const std::optional<unsigned> type = ReadType(cursor, TYPE_BINARY);
    const auto bytes = type ? ReadHexBytes(std::u16string(cursor.Rest())) : std::nullopt;
    if (!bytes) return false;
    const bool isWide = IsText(*type) && lines_.form() != Form::Regedit4;
    found_ = isWide ? text_.FromUtf16(text::Utf16FromLittleEndian(*bytes), text::CODE_PAGE_JAPANESE)
                    : *bytes;
    return true;
  }

  // "12,ab,\" and the lines that continue it. Empty when something else stands there.
  [[nodiscard]] std::optional<std::string> ReadHexBytes(std::u16string line) {
    std::string bytes;
    while (true) {
      Cursor cursor(text::Trim(line), Form::Version5);
      while (!cursor.Rest().empty() && cursor.Rest()[0] != u'\\' && cursor.Rest()[0] != u';') {
        if (Cursor::DigitOf(cursor.Rest()[0]) >= 16) return std::nullopt;
        const unsigned value = cursor.TakeNumber(16, 2);
        if (bytes.size() < MAX_HEX_BYTES) bytes += static_cast<char>(value);
        cursor.SkipBlanks();
        while (cursor.Skip(u","))
          cursor.SkipBlanks();
      }
      if (!cursor.Skip(u"\\")) return bytes;
      std::optional<std::u16string> next = lines_.Next();
      if (!next) return std::nullopt;
      line = *std::move(next);
    }
  }

  [[nodiscard]] std::optional<std::string> Finish() {
    if (isBroken_) Refuse("cannot be understood");
    if (!found_) return std::nullopt;
    if (found_->ends_with('\0')) found_->pop_back();
    if (found_->size() > MAX_VALUE_BYTES) Refuse("takes more than 519 bytes");
    return std::string(text::UpToNul(*found_));
  }

  [[noreturn]] void Refuse(const std::string& why) const {
    throw UnusableValue("the registry's value \"" + std::string(query_.valueName) + "\" under \"" +
                        std::string(query_.key) + "\" " + why);
  }

  LineReader lines_;
  const text::CodePageConverter& text_;
  RegistryQuery query_;
  std::vector<std::u16string> wantedKeys_;
  std::u16string wantedName_;
  std::optional<std::string> found_;
  bool isBroken_ = false;  // the setting that was read last
};

}  // namespace

std::optional<std::string> FindRegistryString(std::string_view file, const RegistryQuery& query,
                                              const text::CodePageConverter& text) {
  return Search(file, query, text).Run();
}

}  // namespace nimport::platform
