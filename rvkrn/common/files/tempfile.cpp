// Temporary files: a placeholder until the layer is built. No name is temporary, and nothing can be opened.
#include "internal/redirect_.h"

namespace rv {

REDIRECTIO temporaryLayerTable() noexcept {
    REDIRECTIO table{};
    table.uStructSize = sizeof table;
    return table;
}
bool isTemporaryName(const char16_t*) noexcept { return false; }

}  // namespace rv
