#ifndef NIMPORT_STORE_KNOWN_OBJECTS_H_
#define NIMPORT_STORE_KNOWN_OBJECTS_H_

#include "jet/open_options.h"

namespace nimport::mailstore {

// The tables and stored queries of the mail database.
[[nodiscard]] jet::KnownObjects KnownMailObjects();

}  // namespace nimport::mailstore

#endif  // NIMPORT_STORE_KNOWN_OBJECTS_H_
