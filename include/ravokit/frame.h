// The frame: what stands under every call: thread data, settings, progress callbacks, cleanup, version.
//
// Settings belong to the calling thread unless a comment says "process-wide". A thread starts from the defaults told
// here and inherits nothing from the thread that made it. A thread whose record can't be allocated shares one fallback
// record with all such threads, in which every default reads as 0. Process-wide settings are not locked: they are to be
// made while one thread runs.
//
// Where an exported bitmap call refuses its arguments, the first failing check decides the status, and nothing has been
// changed by then. The order of the checks is that of the statuses in the comment of the call.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

// ---- thread data -------------------------------------------------------------------------------------------------

/// Makes this thread's record if it has none; every call that needs the record does this by itself. uFlags is not
/// consulted. Returns 1, or 0 if the thread slot or the memory can't be had.
RV_API int32_t R_AllocThreadData(uint32_t uFlags) RV_NOEXCEPT;

/// Slots of R_TlsAlloc.
enum { TLS_SLOTS = 1024 };

/// Takes a process-wide slot, in which each thread keeps a value of its own. It is 0 at first, but a slot that was in
/// use before still has, in threads other than the one that freed it, what they left there. Slots that were freed are
/// handed out again only after all have been handed out once, save the highest, which comes next. Returns the slot, or
/// -1 (all ones) when none is free.
RV_API uint32_t R_TlsAlloc(void) RV_NOEXCEPT;
/// Frees a slot and clears the value of the calling thread; the values of other threads stay behind, and what they
/// point to is their owner's business. Returns 1, or 0 for a slot that is not in use.
RV_API int32_t R_TlsFree(uint32_t uIndex) RV_NOEXCEPT;
/// This thread's value of a slot; 0 for a thread without a record and for a slot that was never handed out.
RV_API uintptr_t R_TlsGetValue(uint32_t uIndex) RV_NOEXCEPT;
/// Sets this thread's value of a slot, and makes the thread's record if it has none. Threads for which none can be made
/// share one table of values. Returns 1, or 0 for a slot that was never handed out.
RV_API int32_t R_TlsSetValue(uint32_t uIndex, uintptr_t uValue) RV_NOEXCEPT;

// ---- defaults of new bitmaps -------------------------------------------------------------------------------------

/// Dots per inch that R_InitBitmap gives to a new bitmap, 150 at first. Any value is taken; R_InitBitmap puts 150 in
/// the place of one that isn't positive. Returns the previous value.
RV_API int32_t R_SetDefaultXResolution(int32_t nValue) RV_NOEXCEPT;
RV_API int32_t R_SetDefaultYResolution(int32_t nValue) RV_NOEXCEPT;
RV_API int32_t R_GetDefaultXResolution(void) RV_NOEXCEPT;
RV_API int32_t R_GetDefaultYResolution(void) RV_NOEXCEPT;

/// DitheringMethod of a new bitmap, 7 at first. Returns 1, or -13 above 8.
RV_API int32_t R_DefaultDithering(uint32_t uMethod) RV_NOEXCEPT;
RV_API uint32_t R_GetDefaultDithering(void) RV_NOEXCEPT;

/// Memory type of a new bitmap: BMMEM_CONVENTIONAL (at first) or BMMEM_DISK. Returns 1, or -13 for any other.
RV_API int32_t R_SetDefaultMemoryType(uint32_t nType) RV_NOEXCEPT;
/// Returns 1, or -13 for null.
RV_API int32_t R_GetDefaultMemoryType(uint32_t* pType) RV_NOEXCEPT;

/// The match table that colour resolution uses with its user match table flag; null for none. The table stays the
/// caller's and must outlive its use. Returns the previous one.
RV_API void* R_SetUserMatchTable(void* pTable) RV_NOEXCEPT;

// ---- progress callbacks ------------------------------------------------------------------------------------------

/// Sets the progress callback of this thread's operations, null for none. The old pair comes back through the pointers
/// that are given. Always 1.
RV_API int32_t R_SetStatusCallBack(STATUSCALLBACK pfn, void* pUser, STATUSCALLBACK* ppfnOld,
                                   void** ppUserOld) RV_NOEXCEPT;
/// The progress callback of operations on this thread; *ppUser, if given, receives its user data.
RV_API STATUSCALLBACK R_GetStatusCallBack(void** ppUser) RV_NOEXCEPT;
/// The same pair of calls for the callback that bitmap copies report to, so that an operation which copies inside does
/// not disturb its caller's progress.
RV_API int32_t R_SetCopyStatusCallBack(STATUSCALLBACK pfn, void* pUser, STATUSCALLBACK* ppfnOld,
                                       void** ppUserOld) RV_NOEXCEPT;
RV_API STATUSCALLBACK R_GetCopyStatusCallBack(void** ppUser) RV_NOEXCEPT;

// ---- resource directories (process-wide) -------------------------------------------------------------------------

/// Characters of a resource directory with its closing 0.
enum { RESOURCE_DIRECTORY_LENGTH = 264 };

/// Keeps a copy of the path of resource directory uType (0 to 2), cut to RESOURCE_DIRECTORY_LENGTH - 1 characters. A
/// path that isn't empty and ends in neither "\" nor "/" gets "/" appended while there is room. Directory 0 is that of
/// the library's modules. Returns 1, or -13 for a null path or uType above 2.
RV_API int32_t R_SetResourceDirectory(uint32_t uType, const char16_t* pPath) RV_NOEXCEPT;
/// Copies a resource directory out: at most uBufferLength characters with the closing 0, so a short buffer receives a
/// shortened path. Returns 1, or -13 for a null buffer or uType above 2.
RV_API int32_t R_GetResourceDirectory(uint32_t uType, char16_t* pBuffer, uint32_t uBufferLength) RV_NOEXCEPT;

// ---- resolution of scanned pages (process-wide) ------------------------------------------------------------------

/// AUTOFIXOPTIONS::uUnit.
enum { AUTOFIX_OFF = 0, AUTOFIX_INCHES = 1, AUTOFIX_MILLIMETRES = 2 };

/// What R_AutoFixBitmapResolution goes by. Packed: 32 bytes in both data models.
#pragma pack(push, 1)
typedef struct AUTOFIXOPTIONS {
    uint32_t uStructSize;
    uint32_t uFlags;         ///< 0; not consulted
    int32_t nMinResolution;  ///< a resolution at or above this one is believed; 96 at first
    double dPageWidth;       ///< in uUnit; 8.5 at first
    double dPageHeight;      ///< in uUnit; 11 at first
    uint32_t uUnit;          ///< AUTOFIX_INCHES at first
} AUTOFIXOPTIONS;
#pragma pack(pop)
RV_RECORD_SIZE(AUTOFIXOPTIONS, 32, 32);

/// Copies the options out. Returns 1, or: -814 null, -789 unknown size.
RV_API int32_t R_GetAutoFixBitmapResolutionOptions(AUTOFIXOPTIONS* pOptions, uint32_t uStructSize) RV_NOEXCEPT;
/// Sets the options. Returns 1, or: -814 null, -789 unknown pOptions->uStructSize, -13 AUTOFIX_OFF.
RV_API int32_t R_SetAutoFixBitmapResolutionOptions(const AUTOFIXOPTIONS* pOptions) RV_NOEXCEPT;
/// Decides whether a bitmap of Width x Height pixels that claims a low resolution is really a scanned page: if at that
/// resolution it would be larger than the page, upright or sideways, it gets the resolution at which it fits. Both
/// image dimensions are measured by XResolution alone. Returns 1 with the new resolutions written; 2 when there is
/// nothing to do, and nothing is written; -814 for a null pointer. A new resolution outside 1 to 2147483647 counts as
/// nothing to do.
RV_API int32_t R_IntAutoFixBitmapResolution(int32_t Width, int32_t Height, int32_t XResolution, int32_t YResolution,
                                            int32_t* pNewX, int32_t* pNewY) RV_NOEXCEPT;
/// R_IntAutoFixBitmapResolution on the bitmap's own fields. uStructSize is not consulted.
/// Returns 1, or: -814 null, -789 any record but the current form (the older form is refused here), 2 nothing to do.
RV_API int32_t R_AutoFixBitmapResolution(BITMAPRECORD* pBitmap, uint32_t uStructSize) RV_NOEXCEPT;

// ---- cleanup registry (process-wide) -----------------------------------------------------------------------------

typedef void (*CLEANUPFUNCTION)(void* pParam1, void* pParam2);

/// Asks for pfn(pParam1, pParam2) when the process ends or the library is unloaded; the newest entry runs first. uKey
/// groups entries for removal. A cleanup function may register and remove others; those run in a later round of the
/// same pass. Callable from any thread. Returns 1, or 0 when memory is short.
RV_API int32_t R_RegisterCleanupFunction(uintptr_t uKey, CLEANUPFUNCTION pfn, void* pParam1, void* pParam2) RV_NOEXCEPT;
/// Removes every entry of uKey, newest first: all of them if pfn is null, else those of pfn and pParam1. With bCall
/// each one's function runs as well. An entry is taken out before its function runs, so that no function runs twice,
/// whatever it or another thread removes meanwhile. pIgnored is not consulted.
RV_API void R_UnregisterCleanupFunction(uintptr_t uKey, CLEANUPFUNCTION pfn, void* pParam1, void* pIgnored,
                                        int32_t bCall) RV_NOEXCEPT;

// ---- dispatch ----------------------------------------------------------------------------------------------------

/// Entry points for sibling modules. The older form ends before pfnTlsGetValue.
typedef struct KRNDISPATCH {
    uint32_t uStructSize;
    void (*pfnUnregisterCleanupFunction)(uintptr_t uKey, CLEANUPFUNCTION pfn, void* pParam1, void* pIgnored,
                                         int32_t bCall);
    int32_t (*pfnGlobalFree)(void* p);
    void (*pfnLocalFree)(void* p);
    void (*pfnReservedNoOp)(void);  ///< constructs an RVThreadPool, which does nothing
    uintptr_t (*pfnTlsGetValue)(uint32_t uIndex);
    int32_t (*pfnTlsSetValue)(uint32_t uIndex, uintptr_t uValue);
    int32_t (*pfnTlsFree)(uint32_t uIndex);
} KRNDISPATCH;
RV_RECORD_SIZE(KRNDISPATCH, 32, 64);

/// uStructSize of the older form of the table: a prefix of the current one.
#define KRNDISPATCH_OLD_SIZE ((uint32_t)offsetof(KRNDISPATCH, pfnTlsGetValue))
RV_STATIC_ASSERT(offsetof(KRNDISPATCH, pfnTlsGetValue) == (sizeof(void*) == 4 ? 20 : 40), "the older form is a prefix");

/// Fills the table of the form that uSize tells, which is sizeof(KRNDISPATCH) or KRNDISPATCH_OLD_SIZE. The pointer is
/// trusted. Returns 1, or -789 for any other size.
RV_API int32_t R_GetKrnDispatch(KRNDISPATCH* pTable, uint32_t uSize) RV_NOEXCEPT;

// ---- version and system ------------------------------------------------------------------------------------------

typedef struct VERSIONINFO {
    uint32_t uStructSize;
    char Product[60];  ///< the product and its platform
    int32_t nEdition, nMajor, nMinor;
    char BuildDate[16];  ///< as "Aug 17 2020"
    char BuildTime[16];  ///< as "19:02:45"
    int32_t nReserved;   ///< 0
} VERSIONINFO;
RV_RECORD_SIZE(VERSIONINFO, 112, 112);

/// Tells the version and the build. Returns 1, or: -13 null, -789 unknown size.
RV_API int32_t R_VersionInfo(VERSIONINFO* pInfo, uint32_t uStructSize) RV_NOEXCEPT;

/// The machine as R_GetSystemInfo tells it. This is the library's own short record, of the same size in both data
/// models: the system's would change with the platform, and callers of a bitmap library need no more of it.
typedef struct SYSTEMINFO {
    uint32_t nProcessorArchitecture;  ///< 9 x86-64, 0 x86, 12 64-bit ARM, 5 32-bit ARM, 65535 any other
    uint32_t nPageSize;               ///< bytes
    uint32_t nProcessors;
    uint32_t nAllocationGranularity;  ///< bytes; where a mapped view of a file may start
} SYSTEMINFO;
RV_RECORD_SIZE(SYSTEMINFO, 16, 16);

/// Returns 1, or -13 for null.
RV_API int32_t R_GetSystemInfo(SYSTEMINFO* pInfo) RV_NOEXCEPT;

/// The system version that callers are told, whatever the system: 7.1.
typedef struct OSINFO {
    uint32_t uStructSize;
    uint32_t nMajor, nMinor;
} OSINFO;
RV_RECORD_SIZE(OSINFO, 12, 12);

/// Returns 1, or: -13 null, -789 unknown pInfo->uStructSize.
RV_API int32_t R_KrnGetOSInfo(OSINFO* pInfo) RV_NOEXCEPT;

/// Dots per inch of a screen: 96.
RV_API int32_t R_GetScreenDpiX(void) RV_NOEXCEPT;
RV_API int32_t R_GetScreenDpiY(void) RV_NOEXCEPT;

/// Hears the library's own diagnostics, in the shape of a message dialog: an owner, which is null, the text, the title
/// and the kind of dialog, 48 (a warning). The result is not consulted.
typedef int32_t (*DIAGNOSTICSINK)(void* hOwner, const char16_t* pText, const char16_t* pTitle, uint32_t uKind);

/// R_IntStartupBuffers's code for the diagnostics sink.
enum { STARTUP_DIAGNOSTICS_SINK = 105 };

/// With STARTUP_DIAGNOSTICS_SINK stores pSink as the process-wide diagnostics sink, null for none, and returns 1; any
/// other code returns 0.
RV_API int32_t R_IntStartupBuffers(DIAGNOSTICSINK pSink, uint32_t uCode) RV_NOEXCEPT;

RV_C_END
