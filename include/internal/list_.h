// The bitmap list inside the library.
#pragma once

#include "ravokit/list.h"

// List and items are blocks of R_GlobalAlloc; pItems is null when the list is empty.
struct BITMAPLIST {
    uint32_t nCount;
    BITMAPRECORD* pItems;
};
