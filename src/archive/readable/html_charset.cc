#include "archive/readable/html_charset.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "text/ascii.h"

namespace nimport::archive {

namespace {

// Where `word`, in lower case, stands in `text` from `begin` on; npos where it does not.
std::size_t FindWord(std::string_view text, std::string_view word, std::size_t begin) {
  const auto isSame = [](char a, char b) { return text::AsciiLower(a) == b; };
  const auto rest = text.substr(std::min(begin, text.size()));
  const auto found = std::search(rest.begin(), rest.end(), word.begin(), word.end(), isSame);
  return found == rest.end()
             ? text.npos
             : static_cast<std::size_t>(found - rest.begin()) + (text.size() - rest.size());
}

}  // namespace

std::string WithUtf8Meta(std::string html) {
  constexpr std::string_view META = "<meta";
  constexpr std::string_view CHARSET = "charset=";
  for (std::size_t at = FindWord(html, META, 0); at != html.npos;
       at = FindWord(html, META, at + META.size())) {
    const std::size_t charset = FindWord(html, CHARSET, at);
    if (charset == html.npos) break;
    if (charset > html.find('>', at)) continue;
    const std::size_t begin =
        std::min(html.find_first_not_of(" \"'", charset + CHARSET.size()), html.size());
    const std::size_t end = std::min(html.find_first_of(" \"'/>;", begin), html.size());
    html.replace(begin, end - begin, "utf-8");
  }
  return html;
}

}  // namespace nimport::archive
