// A drawing module that tells what reached it.
#include <ravokit/types.h>
#include <uchar.h>

RV_API int32_t R_Drw_AddUserFontFromFile(const char16_t* pFile);
RV_API int32_t R_Drw_AddUserFontFromMemory(const void* pData, uint32_t uSize);

int32_t R_Drw_AddUserFontFromFile(const char16_t* pFile) { return 1000 + pFile[0]; }
int32_t R_Drw_AddUserFontFromMemory(const void* pData, uint32_t uSize) {
    return 2000 + *(const uint8_t*)pData + (int32_t)uSize;
}
#ifndef WITHOUT_CLEAR
RV_API int32_t R_Drw_ClearUserFonts(void);
int32_t R_Drw_ClearUserFonts(void) { return 3000; }
#endif
