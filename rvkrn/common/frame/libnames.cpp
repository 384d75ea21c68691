// The names of modules: two tables of base names, and the rules that make file names of them.
#include <array>

#include "internal/modules_.h"
#include "internal/rvsystem_.h"
#include "internal/text.h"
#include "ravokit/codec.h"
#include "ravokit/frame.h"

namespace rv {
namespace {

constexpr char16_t kFilterPrefix[] = u"Ravokit.Codecs.", kNative[] = u".Native", kExtension[] = u".DLL";

constexpr int32_t kLibraries = 61, kFormats = 116;

constexpr auto kLibraryNames = [] {
    std::array<const char16_t*, kLibraries> names{};
    names[RV_LIBID_KERNEL] = u"Ravokit.Kernel";
    names[RV_LIBID_DISPLAY] = u"Ravokit.Display";
    names[RV_LIBID_CODEC_HOST] = u"Ravokit.CodecHost";
    names[RV_LIBID_DRAWING] = u"Ravokit.Drawing";
    names[RV_LIBID_PDF] = u"Ravokit.Pdf";
    names[RV_LIBID_POSTSCRIPT] = u"Ravokit.PostScript";
    names[RV_LIBID_XPS] = u"Ravokit.Xps";
    names[RV_LIBID_SVG] = u"Ravokit.Svg";
    names[RV_LIBID_IMAGING] = u"Ravokit.Imaging";
    names[RV_LIBID_EFFECTS] = u"Ravokit.Effects";
    names[RV_LIBID_COLOR] = u"Ravokit.Color";
    names[RV_LIBID_BARCODE] = u"Ravokit.Barcode";
    names[RV_LIBID_OFFICE] = u"Ravokit.Office";
    names[RV_LIBID_DIALOGS] = u"Ravokit.Dialogs";
    names[RV_LIBID_CAD] = u"Ravokit.Cad";
    names[RV_LIBID_SCAN] = u"Ravokit.Scan";
    names[RV_LIBID_CAPTURE] = u"Ravokit.Capture";
    names[RV_LIBID_DOCUMENTS] = u"Ravokit.Documents";
    names[RV_LIBID_RECOGNITION] = u"Ravokit.Recognition";
    names[RV_LIBID_ANNOTATION] = u"Ravokit.Annotation";
    return names;
}();

constexpr int32_t kInvalidFormat = -9;  // reported where no status tells the format apart

constexpr auto kFilters = [] {
    std::array<FILTERROW, kFormats> rows{};
    for (FILTERROW& row : rows) row.nErrorIfMissing = kInvalidFormat;
    rows[0].pName = u"Raw";
    rows[1].pName = u"Bmp";
    rows[2].pName = u"Pcx";
    rows[3].pName = u"Tiff";
    rows[4].pName = u"Gif";
    rows[CODEC_FORMAT_PHOTO] = {u"Photo", -356};
    rows[6].pName = u"Targa";
    rows[7].pName = u"Png";
    rows[10].pName = u"Jpeg";
    rows[24].pName = u"Jpeg2000";
    rows[55].pName = u"Dicom";
    rows[67] = {u"Pnm", -820};
    rows[CODEC_FORMAT_FAX] = {u"Fax", -357};
    rows[72] = {u"Psd", -819};
    rows[81] = {u"Exif", -822};
    rows[83] = {u"WebP", -824};
    rows[84] = {u"Xmp", -823};
    return rows;
}();

// Formats whose modules have an identifier of their own.
constexpr struct {
    int32_t nFormat, nLibId;
} kFormatLibraries[] = {{25, RV_LIBID_CAD}, {56, RV_LIBID_PDF}, {87, RV_LIBID_POSTSCRIPT},
                        {80, RV_LIBID_XPS}, {50, RV_LIBID_SVG}, {53, RV_LIBID_OFFICE}};

struct ModuleName {
    const char16_t* pName = nullptr;
    bool bFilter = false, bNative = false;
};

ModuleName filterName(int32_t nFormat) noexcept { return {filterRow(nFormat).pName, true, false}; }

ModuleName libraryName(int32_t nLibId) noexcept {
    if (nLibId < 0 || nLibId >= kLibraries) return {};
    const bool bNative = nLibId < 38 || (nLibId >= 47 && nLibId != 55);
    return {kLibraryNames[size_t(nLibId)], false, bNative};
}

ModuleName moduleName(int32_t nLibId, int32_t nFormat) noexcept {
    if (nLibId == RV_LIBID_FIRST_FILTER) return filterName(0);
    if (nLibId != RV_LIBID_FILTER) return libraryName(nLibId);
    for (const auto& row : kFormatLibraries)
        if (row.nFormat == nFormat) return libraryName(row.nLibId);
    return filterName(nFormat);
}

// Texts one after the other, cut where the buffer ends.
void joinText(char16_t* pBuffer, uint32_t uSize, std::initializer_list<const char16_t*> texts) noexcept {
    size_t n = 0;
    for (const char16_t* p : texts) n += copyText(pBuffer + n, p, uSize - n);
}

const char16_t* afterLast(const char16_t* psz, char16_t ch) noexcept {
    const char16_t* pAfter = psz;
    for (; *psz; ++psz)
        if (*psz == ch) pAfter = psz + 1;
    return pAfter;
}

}  // namespace

FILTERROW filterRow(int32_t nFormat) noexcept {
    return nFormat >= 0 && nFormat < kFormats ? kFilters[size_t(nFormat)] : FILTERROW{nullptr, kInvalidFormat};
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetLibName(uint32_t uFlags, int32_t nLibId, int32_t nFormat, char16_t* pBuffer, uint32_t uSize) noexcept {
    if (!pBuffer || !uSize) return -13;
    pBuffer[0] = 0;
    const ModuleName name = moduleName(nLibId, nFormat);
    if (!name.pName) return -16;  // Feature not supported
    // One module has its extension whether or not it is asked for.
    const bool bExtension = !(uFlags & LIBNAME_NO_EXTENSION) || nLibId == RV_LIBID_RECOGNITION;
    const bool bWhole = !(uFlags & LIBNAME_BASE);
    joinText(pBuffer, uSize,
             {bWhole && name.bFilter ? kFilterPrefix : u"", name.pName, name.bNative ? kNative : u"",
              bWhole && bExtension ? kExtension : u""});
    return 1;
}

int32_t R_GetLibFullPath(const char16_t* pszName, char16_t* pBuffer, uint32_t uSize) noexcept {
    if (!pszName || !pBuffer || !uSize) return -13;
    char16_t directory[RESOURCE_DIRECTORY_LENGTH];
    R_GetResourceDirectory(0, directory, RESOURCE_DIRECTORY_LENGTH);
    joinText(pBuffer, uSize, {directory, pszName});
    return 1;
}

int32_t R_IsMissingFile(const char16_t* pszPath) noexcept {
    const FileName name(pszPath);
    void* hFile = name.get() ? sysFileOpen(name.get(), kSysRead, kSysOpenExisting, 0) : kSysNoHandle;
    if (hFile == kSysNoHandle) return 1;
    sysCloseHandle(hFile);
    return 0;
}

const char16_t* R_SkipPath(const char16_t* pszPath) noexcept {
    return pszPath ? afterLast(afterLast(afterLast(pszPath, u':'), u'\\'), u'/') : nullptr;
}

}  // extern "C"
