// Stretches of rows at any phase: brought into phase for bit logic, unpacked in blocks for samples of odd sizes.
#include <algorithm>

#include "internal/combine_.h"
#include "internal/pixels.h"

namespace rv {
namespace {

constexpr size_t kBlock = 512;              // pixels; eight of them end on a byte at every depth
constexpr uint32_t kCopy = 0xC;             // truth tables
constexpr uint8_t kZeros[kBlock * 4] = {};  // stands for a source that isn't read

// The fewest pixels that are whole bytes: eight of 2 to 7 bits, two of 12.
template <int Bits>
constexpr size_t kGroup = Bits == 12 ? 2 : 8;
template <int Bits>
constexpr size_t kGroupBytes = (kGroup<Bits>)*Bits / 8;

template <int Bits, class T>
void unpackGroup(const uint8_t* p, T* to) noexcept {
    constexpr int kLast = int(kGroup<Bits>) - 1;
    uint64_t v = 0;
    for (size_t i = 0; i < kGroupBytes<Bits>; ++i)
        v |= uint64_t(p[Bits == 12 ? i : kGroupBytes<Bits> - 1 - i]) << 8 * i;
    for (int i = 0; i <= kLast; ++i) to[i] = T(v >> (Bits == 12 ? i : kLast - i) * Bits & Pixel<Bits>::kMax);
}
template <int Bits, class T>
void packGroup(const T* from, uint8_t* p) noexcept {
    constexpr int kLast = int(kGroup<Bits>) - 1;
    uint64_t v = 0;
    for (int i = 0; i <= kLast; ++i) v |= uint64_t(from[i]) << (Bits == 12 ? i : kLast - i) * Bits;
    for (size_t i = 0; i < kGroupBytes<Bits>; ++i) p[Bits == 12 ? i : kGroupBytes<Bits> - 1 - i] = uint8_t(v >> 8 * i);
}

// A stretch of at most kBlock pixels from a column on, as samples of their own.
template <int Bits, class T>
void gather(const uint8_t* row, uint64_t nCol, size_t n, T* to) noexcept {
    uint8_t packed[kBlock * Bits / 8 + 8] = {};
    copyPixels(Bits, packed, 0, row, nCol, n);
    for (size_t i = 0, at = 0; i < n; i += kGroup<Bits>, at += kGroupBytes<Bits>)
        unpackGroup<Bits>(packed + at, to + i);
}
template <int Bits, class T>
void scatter(const T* from, uint8_t* row, uint64_t nCol, size_t n) noexcept {
    uint8_t packed[kBlock * Bits / 8 + 8];
    for (size_t i = 0, at = 0; i < n; i += kGroup<Bits>, at += kGroupBytes<Bits>)
        packGroup<Bits>(from + i, packed + at);
    copyPixels(Bits, row, nCol, packed, 0, n);
}

template <int Bits, class T, class Kernel>
void inBlocks(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n, Kernel kernel) noexcept {
    T a[kBlock] = {}, b[kBlock] = {};
    for (size_t i = 0; i < n; i += kBlock) {
        const size_t nPixels = std::min(kBlock, n - i);
        if (s) gather<Bits>(s, nSrcCol + i, nPixels, a);
        gather<Bits>(d, nDstCol + i, nPixels, b);
        kernel(reinterpret_cast<const uint8_t*>(a), reinterpret_cast<uint8_t*>(b), nPixels);
        scatter<Bits>(b, d, nDstCol + i, nPixels);
    }
}

// The bits of a byte from bit nFrom of its stretch on, and before bit nTo. 12-bit pixels fill bytes from below.
uint8_t fromMask(uint32_t nBits, uint64_t nFrom) noexcept {
    return uint8_t(nBits == 12 ? 0xFF << nFrom % 8 : 0xFF >> nFrom % 8);
}
uint8_t toMask(uint32_t nBits, uint64_t nTo) noexcept {
    return nTo % 8 == 0 ? uint8_t(0xFF) : uint8_t(~fromMask(nBits, nTo));
}

bool overlap(const uint8_t* p, const uint8_t* q, uint64_t nBytes) noexcept {
    const auto a = reinterpret_cast<uintptr_t>(p), b = reinterpret_cast<uintptr_t>(q);
    return a < b + nBytes && b < a + nBytes;
}

}  // namespace

RowCombiner::RowCombiner(const BITMAPRECORD& dst, const CombineForm& form) noexcept
    : m_nBits(uint32_t(dst.BitsPerPixel)),
      m_layout(sampleLayout(dst)),
      m_form(form),
      m_terms(sampleTerms(form, m_layout)) {}

bool RowCombiner::prepare(uint32_t nWidth) noexcept {
    return m_scratch.allocate(packedBytes(uint64_t(nWidth) + 8, m_nBits) + 8);
}

// Both stretches begin at the same bit of a byte.
void RowCombiner::tableRow(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n) const noexcept {
    const uint64_t nFrom = nDstCol * m_nBits, nTo = nFrom + n * uint64_t(m_nBits);
    d += nFrom / 8;
    s = s ? s + nSrcCol * m_nBits / 8 : d;  // if there is none the table takes no notice of it
    size_t nFirst = 0, nEnd = size_t((nTo + 7) / 8 - nFrom / 8);
    const auto edge = [&](size_t i, uint8_t uMask) {
        uint8_t v = d[i];
        combineBits(m_form.uTable, s + i, &v, 1);
        d[i] = uint8_t((d[i] & ~uMask) | (v & uMask));
    };
    const uint8_t uHead = fromMask(m_nBits, nFrom), uTail = toMask(m_nBits, nTo);
    if (nEnd == 1) return edge(0, uHead & uTail);
    if (uHead != 0xFF) edge(nFirst++, uHead);
    if (uTail != 0xFF) edge(--nEnd, uTail);
    combineBits(m_form.uTable, s + nFirst, d + nFirst, nEnd - nFirst);
}

void RowCombiner::sampleRow(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n) const noexcept {
    using L = SampleLayout;
    const auto run = [&](auto kernel, size_t nSampleBytes) {
        uint8_t* to = d + nDstCol * m_nBits / 8;
        const size_t nSamples = n * (m_nBits / 8) / nSampleBytes;
        if (s) return kernel(m_form.uOperation, s + nSrcCol * m_nBits / 8, to, nSamples, m_terms);
        for (size_t i = 0; i < nSamples; i += kBlock)
            kernel(m_form.uOperation, kZeros, to + i * nSampleBytes, std::min(kBlock, nSamples - i), m_terms);
    };
    switch (m_layout.kind) {
        case L::bytes:
            return run(combineBytes, 1);
        case L::words:
            return run(combineWords, 2);
        case L::color555:
            return run(combine555, 2);
        case L::gray16:
            return m_layout.bWhole ? run(combineWords, 2) : run(combineWindow16, 2);
        case L::gray32:
            return run(combineWindow32, 4);
        default:
            break;
    }
    visitDepth(int32_t(m_nBits), [&](auto bits) {
        if constexpr (bits > 1 && bits < 8)
            inBlocks<bits, uint8_t>(s, nSrcCol, d, nDstCol, n, [&](const uint8_t* a, uint8_t* b, size_t nPixels) {
                combineBytes(m_form.uOperation, a, b, nPixels, m_terms);
            });
        else if constexpr (bits == 12)
            inBlocks<bits, uint16_t>(s, nSrcCol, d, nDstCol, n, [&](const uint8_t* a, uint8_t* b, size_t nPixels) {
                combineWindow16(m_form.uOperation, a, b, nPixels, m_terms);
            });
    });
}

void RowCombiner::row(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n) const noexcept {
    const bool bCopy = m_form.bTable && m_form.uTable == kCopy;
    const uint64_t nSrcBit = nSrcCol * m_nBits, nDstBit = nDstCol * m_nBits;
    if (s && (overlap(s + nSrcBit / 8, d + nDstBit / 8, packedBytes(n, m_nBits) + 1) ||
              (m_form.bTable && !bCopy && (nSrcBit - nDstBit) % 8))) {
        const uint64_t nPhase = nDstCol % 8;
        copyPixels(int32_t(m_nBits), m_scratch.get(), nPhase, s, nSrcCol, n);
        s = m_scratch.get();
        nSrcCol = nPhase;
    }
    if (bCopy)
        copyPixels(int32_t(m_nBits), d, nDstCol, s, nSrcCol, n);
    else if (m_form.bTable)
        tableRow(s, nSrcCol, d, nDstCol, n);
    else
        sampleRow(s, nSrcCol, d, nDstCol, n);
}

}  // namespace rv
