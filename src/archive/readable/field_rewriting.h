// Header fields in lawful form, for mails whose own form is not.
#ifndef NIMPORT_ARCHIVE_READABLE_FIELD_REWRITING_H_
#define NIMPORT_ARCHIVE_READABLE_FIELD_REWRITING_H_

#include <string>
#include <string_view>

namespace nimport::archive {

// Whether a field of this name holds mailboxes.
[[nodiscard]] bool IsAddressField(std::string_view name);

// The field "NAME: VALUE" with its line end, folded, in ASCII. `value` is UTF-8 without folds;
// encoded words and the forms of parameters that it has are decoded and made anew. Addresses,
// boundaries and words stay what they are.
[[nodiscard]] std::string RewriteField(std::string_view name, std::string_view value);

// The Content-Type field for text that has become UTF-8; of `value`, as above, the type and the
// other parameters stay.
[[nodiscard]] std::string Utf8ContentType(std::string_view value);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_READABLE_FIELD_REWRITING_H_
