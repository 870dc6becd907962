#include "session/library_version.h"

namespace kavix {

LibraryVersion library_version() {
    return {KAVIX_VERSION_MAJOR, KAVIX_VERSION_MINOR, KAVIX_VERSION_PATCH};
}

}  // namespace kavix
