// Combining rectangles: the picture that is seen is cut to both bitmaps, brought to stored rows, and combined row by
// row where the destination's region lets it.
#include <algorithm>

#include "internal/attachments.h"
#include "internal/combine_.h"
#include "internal/opening.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/views_.h"
#include "ravokit/copy.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// A stored rectangle of the destination, and what of the source it meets.
struct Areas {
    RECT dst{}, src{};
    bool bFlip = false;  // the source's rows are met from the last one on
};

// Cuts both rectangles, of one size, to their bitmaps as they are seen; false if nothing is left.
bool cutAreas(const BITMAPRECORD& dst, const BITMAPRECORD& src, int64_t nWidth, int64_t nHeight,
              Areas& areas) noexcept {
    const SIZE to = seenSize(dst), from = seenSize(src);
    RECT &d = areas.dst, &s = areas.src;
    const int64_t nLeft = std::max({int64_t(0), -int64_t(d.left), -int64_t(s.left)}),
                  nTop = std::max({int64_t(0), -int64_t(d.top), -int64_t(s.top)}),
                  nRight = std::min({nWidth, int64_t(to.width) - d.left, int64_t(from.width) - s.left}),
                  nBottom = std::min({nHeight, int64_t(to.height) - d.top, int64_t(from.height) - s.top});
    if (nLeft >= nRight || nTop >= nBottom) return false;
    for (RECT* p : {&d, &s})
        *p = {int32_t(p->left + nLeft), int32_t(p->top + nTop), int32_t(p->left + nRight), int32_t(p->top + nBottom)};
    return true;
}

class Combine {
    BITMAPRECORD &m_dst, &m_src;
    const Areas& m_areas;
    const CombineForm& m_form;
    RowCombiner m_combiner;
    RowReader m_reader;
    RowEditor m_editor;
    Buffer<uint32_t> m_words;

    int32_t row(int32_t y) noexcept {
        uint32_t nWords = 0;
        if (const int32_t n = attachments().clipSegments(m_dst, y, m_words.get(), &nWords); n != 1) return n;
        const RECT &to = m_areas.dst, &from = m_areas.src;
        const uint8_t* s = nullptr;
        uint8_t* d = nullptr;
        // Within one row a segment is written only after those that it is a source of.
        const bool bLeftward = from.left < to.left;
        const uint32_t nSegments = nWords / 2;
        for (uint32_t i = 0; i < nSegments; ++i) {
            const uint32_t* const p = m_words.get() + 2 * (bLeftward ? nSegments - 1 - i : i);
            const auto nLeft = uint32_t(std::max<int64_t>(p[0], to.left)),
                       nRight = uint32_t(std::min<int64_t>(p[1], to.right));
            if (nLeft >= nRight) continue;
            if (!d) {
                const int32_t ySrc = m_areas.bFlip ? from.bottom - 1 - (y - to.top) : from.top + (y - to.top);
                if (m_form.bReadsSource && !(s = m_reader.read(ySrc))) return m_reader.status();
                if (!(d = m_editor.read(y))) return m_editor.status();
            }
            m_combiner.row(s, nLeft - uint32_t(to.left) + uint32_t(from.left), d, nLeft, nRight - nLeft);
        }
        return d ? m_editor.write(y) : 1;
    }

public:
    Combine(BITMAPRECORD& dst, BITMAPRECORD& src, const Areas& areas, const CombineForm& form) noexcept
        : m_dst(dst),
          m_src(src),
          m_areas(areas),
          m_form(form),
          m_combiner(dst, form),
          m_reader(src, src.BytesPerLine),
          m_editor(dst),
          m_words(std::max(attachments().clipSegmentsMax(dst), 2u)) {}

    int32_t rows() noexcept {
        const RECT& area = m_areas.dst;
        if (m_reader.status() != 1 || m_editor.status() != 1 || !m_words) return -1;
        if (!m_combiner.prepare(uint32_t(area.right - area.left))) return -1;
        // Within one bitmap a row is written only after those that it is a source of.
        const bool bUpward = isSameData(m_dst, m_src) && m_areas.src.top < area.top;
        ProgressStepper progress(area.bottom - area.top);
        int32_t nStatus = progress.start();
        for (int32_t i = 0; i < area.bottom - area.top && nStatus == 1; ++i) {
            nStatus = row(bUpward ? area.bottom - 1 - i : area.top + i);
            if (nStatus == 1) nStatus = progress.step();
        }
        return nStatus;
    }
};

int32_t combineRows(BITMAPRECORD& dst, BITMAPRECORD& src, const Areas& areas, const CombineForm& form) noexcept {
    BitmapLock lock(dst);
    if (lock.status() != 1) return lock.status();
    BitmapLock sourceLock(src);
    if (sourceLock.status() != 1) return lock.release(sourceLock.status());
    const int32_t nStatus = Combine(dst, src, areas, form).rows();
    return lock.release(sourceLock.release(nStatus));
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_CombineBitmapKrn(BITMAPRECORD* pDest, int32_t nDestLeft, int32_t nDestTop, int32_t nWidth,
                                      int32_t nHeight, BITMAPRECORD* pSource, int32_t nSrcLeft, int32_t nSrcTop,
                                      uint32_t uFlags) noexcept {
    if (!areCombineFlags(uFlags)) return -13;  // Invalid parameter passed
    if (!pDest || !pSource) return -13;
    if (!isKnownRecordSize(pDest->uStructSize) || !isKnownRecordSize(pSource->uStructSize)) return -789;
    if (!isAllocated(pDest) || !isAllocated(pSource)) return -2;   // Invalid image
    if (pDest->BitsPerPixel != pSource->BitsPerPixel) return -27;  // Invalid bits per pixel
    const CombineForm form = combineForm(uFlags, sampleLayout(*pDest));
    if (!form.bChanges) return tellNothingToDo();

    Areas areas{{nDestLeft, nDestTop, 0, 0}, {nSrcLeft, nSrcTop, 0, 0}};
    if (!cutAreas(*pDest, *pSource, nWidth, nHeight, areas)) return tellNothingToDo();
    if (const int32_t n = toStored(*pDest, areas.dst); n != 1) return n;

    BITMAPRECORD* pFrom = pSource;
    BitmapOwner turned;
    if (form.bReadsSource && pSource->ViewPerspective != pDest->ViewPerspective) {
        int32_t bFlip = 0, nAngle = 0;
        if (const int32_t n =
                R_GetChangeViewPerspectiveParams(pSource->ViewPerspective, pDest->ViewPerspective, &bFlip, &nAngle);
            n != 1)
            return n;
        areas.bFlip = bFlip && nAngle == 0 && !isSameData(*pDest, *pSource);
        if (!areas.bFlip) {
            if (const int32_t n = R_IntChangeBitmapViewPerspective(
                    &turned.record, pSource, pSource->uStructSize, pDest->ViewPerspective,
                    DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS);
                n != 1)
                return n;
            pFrom = &turned.record;
        }
    }
    if (form.bReadsSource)
        if (const int32_t n = toStored(*pFrom, areas.src); n != 1) return n;
    return combineRows(*pDest, *pFrom, areas, form);
}
