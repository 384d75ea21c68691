// Names of modules. None is known so far.
#include "ravokit/loader.h"

extern "C" int32_t R_GetLibName(uint32_t, int32_t, int32_t, char16_t* pBuffer, uint32_t uSize) noexcept {
    if (uSize) pBuffer[0] = 0;
    return -16;  // Feature not supported
}
