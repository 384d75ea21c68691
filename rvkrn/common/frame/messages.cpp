// What a status says in words: one table for the whole family of modules, and templates that take a library's name.
#include "ravokit/messages.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "internal/messages_.h"
#include "internal/text.h"
#include "ravokit/loader.h"

namespace rv {
namespace {

constexpr char16_t kLibraryMissing[] = u"The %s library is missing.";
constexpr char16_t kLibraryOutOfDate[] = u"The %s library is invalid or out of date.";
constexpr char16_t kUnrecognized[] = u"Internal or Unrecognized Error!";
constexpr char16_t kUnknownPackage[] = u"UnknownPackage";

constexpr Message kMessages[] = {
#include "rvkrn/common/frame/messages.inc"
};

// A module as the loader selects it.
struct Library {
    int32_t nClass, nId;
};

constexpr struct {
    int32_t nStatus;
    Library library;
} kMissing[] = {
    {-824, {0, 83}}, {-823, {0, 84}}, {-822, {0, 81}},  {-821, {0, 68}}, {-820, {0, 67}},
    {-819, {0, 72}}, {-818, {7, 80}}, {-807, {24, -1}}, {-357, {0, 68}}, {-356, {0, 5}},
};

// The libraries of the templates that name a fixed one.
constexpr Library kOutOfDate{0, 55}, kBroken{0, 24};

// Packages by class and range of ids.
constexpr struct {
    int32_t nClass, nFirstId, nLastId;
    const char16_t* pName;
} kPackages[] = {
    {0, 0, 115, u"Ravokit Codecs"},
    {7, 80, 80, u"Ravokit Codecs"},
    {24, -1, -1, u"Ravokit Dialogs"},
};

Library missingLibrary(int32_t nStatus) noexcept {
    for (const auto& row : kMissing)
        if (row.nStatus == nStatus) return row.library;
    return {0, -1};
}

const char16_t* packageOf(Library library) noexcept {
    for (const auto& row : kPackages)
        if (row.nClass == library.nClass && row.nFirstId <= library.nId && library.nId <= row.nLastId) return row.pName;
    return kUnknownPackage;
}

// Puts the library's name in the place of "%s".
void fillTemplate(std::u16string_view text, size_t nPlace, Library library, char16_t (&out)[MESSAGE_LENGTH]) noexcept {
    char16_t name[512] = u"";
    if (R_GetLibName(0, library.nClass, library.nId, name, uint32_t(std::size(name))) != 1) name[0] = 0;
    text.copy(out, nPlace);
    const size_t n = nPlace + copyText(out + nPlace, name, MESSAGE_LENGTH - nPlace);
    copyText(out + n, text.data() + nPlace + 2, MESSAGE_LENGTH - n);
}

}  // namespace

std::span<const Message> messages() noexcept { return kMessages; }

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetFriendlyErrorMessage(int32_t nStatus, char16_t* pBuffer, int32_t nBufferLength,
                                  char16_t* pPackageName) noexcept {
    if (!pBuffer) return -13;  // Invalid parameter passed
    const Message* p = std::ranges::lower_bound(kMessages, nStatus, {}, &Message::nLast);
    const bool bKnown = p != std::end(kMessages) && p->nFirst <= nStatus;
    const char16_t* pText = bKnown ? p->pText : kUnrecognized;

    Library library = kBroken;
    if (pText == kLibraryMissing) {
        library = missingLibrary(nStatus);
        if (pPackageName) copyText(pPackageName, packageOf(library), PACKAGE_NAME_LENGTH);
    } else if (pText == kLibraryOutOfDate) {
        library = kOutOfDate;
    }

    char16_t filled[MESSAGE_LENGTH];
    const std::u16string_view text(pText);
    if (const size_t nPlace = text.find(u"%s"); nPlace != text.npos) {
        fillTemplate(text, nPlace, library, filled);
        pText = filled;
    }
    if (nBufferLength > 0) copyText(pBuffer, pText, size_t(std::min<int32_t>(nBufferLength, MESSAGE_LENGTH)));
    return 1;
}

int32_t R_GetLibIdFromErrorCode(int32_t nStatus, int32_t* pnClass, int32_t* pnLibId) noexcept {
    if (!pnClass || !pnLibId) return -13;
    const Library library = missingLibrary(nStatus);
    *pnClass = library.nClass;
    *pnLibId = library.nId;
    return 1;
}

}  // extern "C"
