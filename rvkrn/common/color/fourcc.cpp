// Frames of video codecs: luma and subsampled chroma, in planes or packed, to rows of blue, green, red.
//
// A layout is told by numbers, not by a loop of its own: planes by their subsampling and order, packed rows by the
// places of the samples in a group of bytes.
#include <algorithm>
#include <iterator>

#include "internal/dib_.h"

namespace rv {

struct FrameLayout {
    enum Kind : uint8_t { planar, packed };

    uint32_t uCode;
    Kind kind;
    uint8_t nUnitX, nUnitY;  // width and height are multiples of these
    uint8_t nBits;           // biBitCount; 24, that of the picture it stands for, is taken as well
    uint8_t nStepX, nStepY;  // pixels that share a chroma sample
    bool bSecondFirst;       // planar: V before U
    bool bUpsideDown;        // rows from the last to the first
    // Packed: a group of nGroup pixels in nGroupBytes bytes. The place of each pixel's luma, and of U and V for each
    // nStepX pixels.
    uint8_t nGroup, nGroupBytes;
    uint8_t nLuma[8];
    uint8_t nU[2], nV[2];
};

namespace {

constexpr FrameLayout planes(const char (&code)[5], uint8_t nUnit, uint8_t nBits, uint8_t nStep, bool bSecondFirst) {
    return {
        fourCC(code), FrameLayout::planar, nUnit, nUnit, nBits, nStep, nStep, bSecondFirst, false, 0, 0, {}, {}, {}};
}

// Two pixels in four bytes, told by the places of Y0, Y1, U and V.
constexpr FrameLayout pairs(const char (&code)[5], uint8_t nY0, uint8_t nY1, uint8_t nU, uint8_t nV,
                            bool bUpsideDown = false) {
    return {fourCC(code), FrameLayout::packed, 2, 1, 16, 2, 1, false, bUpsideDown, 2, 4, {nY0, nY1}, {nU}, {nV}};
}

// Eight pixels in twelve bytes: U0 Y0 V0 Y1 U4 Y2 V4 Y3 Y4 Y5 Y6 Y7.
constexpr FrameLayout eights(const char (&code)[5]) {
    return {fourCC(code), FrameLayout::packed,        4,      4,     12, 4, 1, false, false, 8,
            12,           {1, 3, 5, 7, 8, 9, 10, 11}, {0, 4}, {2, 6}};
}

constexpr FrameLayout kLayouts[] = {
    planes("YVU9", 16, 9, 4, true),
    planes("IF09", 16, 9, 4, true),  // what says which parts of the frame changed lies behind the planes
    planes("I420", 4, 12, 2, false),
    planes("IYUV", 4, 12, 2, false),
    planes("YV12", 4, 12, 2, true),
    eights("Y41P"),
    eights("Y41T"),  // the lowest bit of luma also says transparent
    pairs("UYVY", 1, 3, 0, 2),
    pairs("Y42T", 1, 3, 0, 2),  // likewise
    pairs("cyuv", 1, 3, 0, 2, true),
    pairs("YUY2", 0, 2, 1, 3),
    pairs("YVYU", 0, 2, 3, 1),
    // Y0 U0 Y2 V0: two pixels share a luma sample, four a chroma sample.
    {fourCC("Y211"), FrameLayout::packed, 2, 1, 8, 4, 1, false, false, 4, 4, {0, 0, 2, 2}, {1}, {3}},
};

uint8_t limited(int32_t v) noexcept { return uint8_t(std::clamp(v >> 10, 0, 255)); }

// What two chroma samples add to the channels.
struct Chroma {
    int32_t nBlue, nGreen, nRed;
    Chroma(int32_t u, int32_t v) noexcept
        : nBlue(2066 * u - 263937), nGreen(158335 - 401 * u - 832 * v), nRed(1634 * v - 208641) {}
    void store(uint8_t* pBgr, int32_t y) const noexcept {
        const int32_t c = 1192 * (y - 16);
        pBgr[0] = limited(c + nBlue);
        pBgr[1] = limited(c + nGreen);
        pBgr[2] = limited(c + nRed);
    }
};

uint64_t packedRowBytes(const FrameLayout& l, uint32_t nWidth) noexcept {
    return (uint64_t(nWidth) + l.nGroup - 1) / l.nGroup * l.nGroupBytes;
}

void expandPlanar(const FrameLayout& l, const uint8_t* p, uint32_t nWidth, uint32_t nHeight, uint32_t y,
                  uint8_t* pBgr) noexcept {
    const size_t nLuma = size_t(nWidth) * nHeight, nChromaRow = nWidth / l.nStepX;
    const size_t nChroma = nChromaRow * (nHeight / l.nStepY);
    const uint8_t* pFirst = p + nLuma + y / l.nStepY * nChromaRow;
    const uint8_t* pSecond = pFirst + nChroma;
    const uint8_t* pU = l.bSecondFirst ? pSecond : pFirst;
    const uint8_t* pV = l.bSecondFirst ? pFirst : pSecond;
    const uint8_t* pY = p + size_t(nWidth) * y;
    for (size_t i = 0; i < nChromaRow; ++i) {
        const Chroma chroma(pU[i], pV[i]);
        for (uint32_t k = 0; k < l.nStepX; ++k, pBgr += 3) chroma.store(pBgr, *pY++);
    }
}

void expandPacked(const FrameLayout& l, const uint8_t* p, uint32_t nWidth, uint8_t* pBgr) noexcept {
    for (uint32_t x = 0; x < nWidth; x += l.nGroup, p += l.nGroupBytes) {
        const uint32_t nPixels = std::min<uint32_t>(l.nGroup, nWidth - x);
        for (uint32_t k = 0; k < nPixels;) {
            const Chroma chroma(p[l.nU[k / l.nStepX]], p[l.nV[k / l.nStepX]]);
            for (const uint32_t nEnd = std::min<uint32_t>(k + l.nStepX, nPixels); k < nEnd; ++k, pBgr += 3)
                chroma.store(pBgr, p[l.nLuma[k]]);
        }
    }
}

}  // namespace

const FrameLayout* findFrameLayout(uint32_t uCode, uint32_t nWidth, uint32_t nHeight, uint32_t nBits) noexcept {
    const auto it = std::find_if(std::begin(kLayouts), std::end(kLayouts), [&](const FrameLayout& l) {
        return l.uCode == uCode && nWidth % l.nUnitX == 0 && nHeight % l.nUnitY == 0 &&
               (nBits == l.nBits || nBits == 24);
    });
    return it != std::end(kLayouts) ? it : nullptr;
}

uint64_t frameSize(const FrameLayout& l, uint32_t nWidth, uint32_t nHeight) noexcept {
    if (l.kind == FrameLayout::packed) return packedRowBytes(l, nWidth) * nHeight;
    const uint64_t nLuma = uint64_t(nWidth) * nHeight;
    return nLuma + 2 * (nLuma / l.nStepX / l.nStepY);
}

void expandFrameRow(const FrameLayout& l, const uint8_t* pFrame, uint32_t nWidth, uint32_t nHeight, uint32_t y,
                    uint8_t* pBgr) noexcept {
    if (l.bUpsideDown) y = nHeight - 1 - y;
    if (l.kind == FrameLayout::planar)
        expandPlanar(l, pFrame, nWidth, nHeight, y, pBgr);
    else
        expandPacked(l, pFrame + size_t(packedRowBytes(l, nWidth)) * y, nWidth, pBgr);
}

}  // namespace rv
