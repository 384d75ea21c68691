// The module loader: names of the modules of the family.
#pragma once

#include "types.h"

RV_C_BEGIN

/// Writes the file name of a module. Returns 1, or -16 for one that has none.
RV_API int32_t R_GetLibName(uint32_t uFlags, int32_t nLibId, int32_t nFormat, char16_t* pBuffer,
                            uint32_t uSize) RV_NOEXCEPT;

RV_C_END
