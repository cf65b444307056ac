#ifndef NIMPORT_STORE_KNOWN_OBJECTS_H_
#define NIMPORT_STORE_KNOWN_OBJECTS_H_

#include "jet/open_options.h"
#include "text/code_page_converter.h"

namespace nimport::store {

// The tables and stored queries of the mail database, their names in code page 932.
[[nodiscard]] jet::KnownObjects KnownMailObjects();

// The same for a database that is opened in another code page.
[[nodiscard]] jet::KnownObjects KnownMailObjects(const text::CodePageConverter& text,
                                                 unsigned codePage);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_KNOWN_OBJECTS_H_
