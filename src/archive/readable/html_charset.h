#ifndef NIMPORT_ARCHIVE_READABLE_HTML_CHARSET_H_
#define NIMPORT_ARCHIVE_READABLE_HTML_CHARSET_H_

#include <string>

namespace nimport::archive {

// `html` with "utf-8" for every charset that its meta elements name: some programs believe these
// rather than the mail's header.
[[nodiscard]] std::string WithUtf8Meta(std::string html);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_READABLE_HTML_CHARSET_H_
