#ifndef NIMPORT_STORE_TEXT_LIMITS_H_
#define NIMPORT_STORE_TEXT_LIMITS_H_

namespace nimport::store {

// Whether texts of a store are cut to what a host's buffers hold (text::NameText, text::ValueText),
// which is for code page 932 alone, or are kept whole in whatever code page the database was opened
// with.
enum class TextLimits { OfHosts, None };

}  // namespace nimport::store

#endif  // NIMPORT_STORE_TEXT_LIMITS_H_
