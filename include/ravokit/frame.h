// The frame: what stands under every call: thread data, settings, progress callbacks, cleanup, version.
#pragma once

#include "types.h"

RV_C_BEGIN

/// The progress callback of operations on this thread; *ppUser, if given, receives its user data.
RV_API STATUSCALLBACK R_GetStatusCallBack(void** ppUser) RV_NOEXCEPT;
/// The progress callback of copies on this thread; *ppUser, if given, receives its user data.
RV_API STATUSCALLBACK R_GetCopyStatusCallBack(void** ppUser) RV_NOEXCEPT;

RV_C_END
