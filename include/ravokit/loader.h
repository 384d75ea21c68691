// The module loader: the names of the family's modules, loading them on demand, and the tables of entry points through
// which the display layer is offered to the others.
//
// A module is named by a library identifier or, where that is 0, by a file format: a row of the table of file filters.
// Its name ends in ".DLL" on every platform. Here a file of that very name is taken, or one named as the platform does
// it: "lib", the name without that ending, ".so". So "Ravokit.Codecs.Photo.DLL" is found in libRavokit.Codecs.Photo.so.
//
// Where a name tells no directory, the system's own search comes first; then resource directory 0
// (R_SetResourceDirectory), or, while that is not set, the directory of the library itself.
//
// The load callback and the dispatch tables are process-wide and not locked: they are to be set while one thread runs.
#pragma once

#include "types.h"

RV_C_BEGIN

// ---- names -------------------------------------------------------------------------------------------------------

/// Library identifiers (0 to 60). Those that have no name here are holes: no module has them.
typedef enum RV_LIBID {
    RV_LIBID_FILTER = 0,  ///< the module of nFormat
    RV_LIBID_KERNEL = 1,
    RV_LIBID_DISPLAY = 2,
    RV_LIBID_CODEC_HOST = 3,
    RV_LIBID_DRAWING = 4,
    RV_LIBID_PDF = 5,
    RV_LIBID_POSTSCRIPT = 6,
    RV_LIBID_XPS = 7,
    RV_LIBID_FIRST_FILTER = 8,  ///< the module of format 0
    RV_LIBID_SVG = 9,
    RV_LIBID_IMAGING = 10,
    RV_LIBID_EFFECTS = 11,
    RV_LIBID_COLOR = 12,
    RV_LIBID_BARCODE = 16,
    RV_LIBID_OFFICE = 23,
    RV_LIBID_DIALOGS = 24,
    RV_LIBID_CAD = 30,
    RV_LIBID_SCAN = 38,
    RV_LIBID_CAPTURE = 39,
    RV_LIBID_DOCUMENTS = 47,
    RV_LIBID_RECOGNITION = 49,
    RV_LIBID_ANNOTATION = 55
} RV_LIBID;

/// Characters of a module's name, its closing 0 included.
enum { LIBRARY_NAME_LENGTH = 512 };

/// Bits of R_GetLibName's uFlags.
enum {
    LIBNAME_NO_EXTENSION = 1,
    LIBNAME_BASE = 2  ///< the bare name: no "Ravokit.Codecs." before that of a file filter, no extension
};

/// Writes the name of the module of nLibId, an RV_LIBID, or, if that is 0, of the file format nFormat (0 to 115; some
/// formats belong to modules with an identifier of their own). A buffer that is too short receives a shortened name.
/// Returns 1, or: -13 null buffer or no room, -16 no such module; the buffer then has an empty text.
RV_API int32_t R_GetLibName(uint32_t uFlags, int32_t nLibId, int32_t nFormat, char16_t* pBuffer,
                            uint32_t uSize) RV_NOEXCEPT;
/// Writes resource directory 0 and pszName behind it, shortened where the buffer is. Returns 1, or -13 for null or no
/// room.
RV_API int32_t R_GetLibFullPath(const char16_t* pszName, char16_t* pBuffer, uint32_t uSize) RV_NOEXCEPT;
/// 1 if the file can't be opened for reading, also for null; else 0.
RV_API int32_t R_IsMissingFile(const char16_t* pszPath) RV_NOEXCEPT;
/// The file's name in a path: what follows the last ":", then the last "\" behind that, then the last "/" behind that.
/// Null for null.
RV_API const char16_t* R_SkipPath(const char16_t* pszPath) RV_NOEXCEPT;

/// Names a module in the place of R_GetLibName, by writing to pBuffer, which has room for uSize characters and holds an
/// empty text; what stays empty takes its usual name. The result is not consulted.
typedef int32_t (*LOADLIBCALLBACK)(int32_t nLibId, int32_t nFormat, char16_t* pBuffer, uint32_t uSize, void* pUserData);
/// Sets the load callback of the process; null for none. Always 1.
RV_API int32_t R_SetLoadLibCallback(LOADLIBCALLBACK pfn, void* pUserData) RV_NOEXCEPT;
/// The load callback; *ppUserData, if given, receives its user data.
RV_API LOADLIBCALLBACK R_GetLoadLibCallback(void** ppUserData) RV_NOEXCEPT;

// ---- the display layer's entry points ----------------------------------------------------------------------------

/// The display layer's table. What its entries are is agreed between the one that sets it and those that take it.
typedef struct DISDISPATCH {
    uint32_t uStructSize;  ///< 0: empty
    void (*pfnEntries[20])(void);
} DISDISPATCH;
RV_RECORD_SIZE(DISDISPATCH, 84, 168);

/// Copies the table out. Returns 1, or: -13 null, -30 the table is empty.
RV_API int32_t R_GetDisDispatch(DISDISPATCH* pTable) RV_NOEXCEPT;
/// Copies a table in. Returns 1, or -13 for null.
RV_API int32_t R_SetDisDispatch(const DISDISPATCH* pTable) RV_NOEXCEPT;
/// Empties the table, unless it was set or reset before.
RV_API void R_ResetDisDispatch(void) RV_NOEXCEPT;

// ---- the drawing engine ------------------------------------------------------------------------------------------

/// Options of the drawing engine, which the library keeps for it.
typedef struct DRAWENGINEOPTIONS {
    uint32_t uStructSize;
    uint32_t uEngine;
    uint32_t uFlags;
} DRAWENGINEOPTIONS;
RV_RECORD_SIZE(DRAWENGINEOPTIONS, 12, 12);

/// Copies the process's options out or in; all but the size is 0 at first. Callable from any thread. Returns 1, or: -13
/// null, -789 unknown pOptions->uStructSize.
RV_API int32_t R_DrawGetEngineOptions(DRAWENGINEOPTIONS* pOptions) RV_NOEXCEPT;
RV_API int32_t R_DrawSetEngineOptions(const DRAWENGINEOPTIONS* pOptions) RV_NOEXCEPT;

/// Pass on to the drawing module, which is loaded by the first of them and stays until the library goes. The narrow
/// name is UTF-8. Each returns what the module's function does, or: -13 null name or data, -1 no memory, -9 the module
/// is missing or lacks an entry point.
RV_API int32_t R_DrawAddUserFontFromFile(const char16_t* pFile) RV_NOEXCEPT;
RV_API int32_t R_DrawAddUserFontFromFileA(const char* pFile) RV_NOEXCEPT;
RV_API int32_t R_DrawAddUserFontFromMemory(const void* pData, uint32_t uSize) RV_NOEXCEPT;
RV_API int32_t R_DrawClearUserFonts(void) RV_NOEXCEPT;

RV_C_END

#ifdef __cplusplus

// ---- modules -----------------------------------------------------------------------------------------------------

/// R_DllLoader::AddFunction's nFlags.
enum { ADDFUNCTION_REQUIRED = 1 };

struct DLLFUNCTIONS;  // opaque

/// A module with a count of its users, and the functions that were resolved from it. An object is not locked: its owner
/// sees to it that one thread at a time uses it.
class RV_API R_DllLoader {
    void* hInstance;
    DLLFUNCTIONS* pFunctions;
    int32_t nRefCount;
    int32_t nErrorIfMissing;
    int32_t bOutOfMemory;
    char16_t szName[LIBRARY_NAME_LENGTH];

    int32_t LoadLibName(const char16_t* pszName, void* pUserData) noexcept;
    int32_t MyLoadLibrary(const char16_t* pszDir, const char16_t* pszFile) noexcept;
    void Free() noexcept;

public:
    R_DllLoader() noexcept;
    R_DllLoader(const R_DllLoader&) = delete;
    R_DllLoader& operator=(const R_DllLoader&) = delete;
    /// Lets go of the module, whatever the count.
    ~R_DllLoader();

    /// Loads the module, or counts one more user of it. Its name comes from the load callback, else from R_GetLibName.
    /// pUserData is not consulted. Returns 1; 0 when there is no such module, or no memory for it.
    int32_t LoadLib(int32_t nLibId, int32_t nFormat, void* pUserData) noexcept;
    int32_t IsLoaded() const noexcept;
    /// Counts one more user; it loads nothing.
    void Load() noexcept;
    /// Counts one user less; the last one's going unloads the module.
    void Unload() noexcept;

    /// The status that a caller reports for the missing module, -9 at first.
    int32_t GetErrorIfMissing() const noexcept;
    void SetErrorIfMissing(int32_t nError) noexcept;

    /// Resolves a function and keeps its address, or that it is missing, under its name; a name that is kept already is
    /// not looked up again. Where the module has no such function, one with "A" behind the name is taken. Returns 1,
    /// or: -13 null name; GetErrorIfMissing() without a module and, with ADDFUNCTION_REQUIRED, for a function that is
    /// missing; -1 no memory.
    int32_t AddFunction(const char* pszFunction) noexcept;
    int32_t AddFunction(const char* pszFunction, uint32_t nFlags) noexcept;
    /// Whether the function was added and is there.
    int32_t IsFunctionOk(const char* pszFunction) const noexcept;
    /// The address of a function that was added; null for one that is missing or was not.
    void* GetFunction(const char* pszFunction) const noexcept;

    void* GetHInstance() const noexcept;
    /// Whether the last load failed for want of memory.
    int32_t IsSystemOutOfMemory() const noexcept;

    /// Writes the directory of a path, without the separator at its end unless that is all there is or the path has a
    /// ":" before the name, and closes it with two 0 characters; cut where the buffer is short. pszFile is where in
    /// pszPath the file's name starts; null to look for it. Returns 1, or -13 for null or a buffer shorter than 2.
    static int32_t GetDir(const char16_t* pszPath, const char16_t* pszFile, char16_t* pszDir, uint32_t uSize) noexcept;
};
RV_RECORD_SIZE(R_DllLoader, 1044, 1056);

#endif
