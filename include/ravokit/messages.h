// Messages: what a status says in words, for the statuses of the whole family of modules.
#pragma once

#include "types.h"

RV_C_BEGIN

/// Characters of a message and of a package name, each with its closing 0.
enum { MESSAGE_LENGTH = 1024, PACKAGE_NAME_LENGTH = 260 };

/// Writes the English text of a status: at most nBufferLength characters with the closing 0, so a short buffer receives
/// a shortened text, and one of 0 or fewer nothing. A status that has no text gives "Internal or Unrecognized Error!".
/// Where the text names a library, R_GetLibName gives the name without a library directory; a library that it doesn't
/// know leaves the place of the name empty. pPackageName is null, or has room for PACKAGE_NAME_LENGTH characters: where
/// the text is that a library is missing, it receives the name of the software package that holds the library,
/// "UnknownPackage" if that isn't known; for any other status it is left alone.
/// Returns 1, or -13 for a null buffer.
RV_API int32_t R_GetFriendlyErrorMessage(int32_t nStatus, char16_t* pBuffer, int32_t nBufferLength,
                                         char16_t* pPackageName) RV_NOEXCEPT;

/// Tells which library a status misses: its class and its id are nLibId and nFormat of R_GetLibName, so class 0 is the
/// file filter of the format that the id tells. They are 0 and -1, which name no library, for any status that isn't
/// "The %s library is missing.", and for those of that text whose modules this library doesn't know: it knows -356,
/// -357, -807 and -818 to -824. Returns 1, or -13 for a null pointer.
RV_API int32_t R_GetLibIdFromErrorCode(int32_t nStatus, int32_t* pnClass, int32_t* pnLibId) RV_NOEXCEPT;

RV_C_END
