// The table of messages.
#pragma once

#include <cstdint>
#include <span>

namespace rv {

// The text of the statuses from nFirst to nLast.
struct Message {
    int32_t nFirst, nLast;
    const char16_t* pText;
};

// By status, rising, without overlaps.
std::span<const Message> messages() noexcept;

}  // namespace rv
