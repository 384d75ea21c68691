// Moving runs of packed pixels between rows at any bit phase.
#include "internal/pixels.h"

#include "internal/simd.h"

namespace rv {
namespace {

// Up to 8 bits of a stream from bit position nBit on, at the top of a byte.
uint8_t readBits(const uint8_t* p, uint64_t nBit, int nCount) noexcept {
    p += nBit / 8;
    const int nPhase = int(nBit % 8);
    int v = p[0] << nPhase;
    if (nPhase + nCount > 8) v |= p[1] >> (8 - nPhase);
    return uint8_t(v & (0xFF00 >> nCount));
}

// Puts the top nCount bits of v at nPhase of a byte.
void mergeBits(uint8_t* p, int nPhase, uint8_t v, int nCount) noexcept {
    const int nMask = (0xFF00 >> nCount & 0xFF) >> nPhase;
    *p = uint8_t((*p & ~nMask) | v >> nPhase);
}

// A byte pattern in every byte of a word.
constexpr uint64_t inEveryByte(int nByte) noexcept { return uint64_t(uint8_t(nByte)) * 0x0101010101010101; }

// dst[i] takes the last 8 - nShift bits of src[i] and the first nShift of src[i + 1]. Words of eight bytes are shifted
// as a whole, and what crossed from byte to byte is masked away.
RV_CLONES void shiftBytes(uint8_t* __restrict dst, const uint8_t* __restrict src, size_t nBytes, int nShift) noexcept {
    const uint64_t uHigh = inEveryByte(0xFF << nShift), uLow = inEveryByte(0xFF >> (8 - nShift));
    const size_t nWords = nBytes / 8;
    for (size_t i = 0; i < nWords; ++i) {
        const uint64_t a = loadLittle<uint64_t>(src + i * 8), b = loadLittle<uint64_t>(src + i * 8 + 1);
        storeLittle(dst + i * 8, (a << nShift & uHigh) | (b >> (8 - nShift) & uLow));
    }
    for (size_t i = nWords * 8; i < nBytes; ++i) dst[i] = uint8_t(src[i] << nShift | src[i + 1] >> (8 - nShift));
}

// The same by half a byte for streams with the low part first.
RV_CLONES void shiftNibbles(uint8_t* __restrict dst, const uint8_t* __restrict src, size_t nBytes) noexcept {
    const size_t nWords = nBytes / 8;
    for (size_t i = 0; i < nWords; ++i) {
        const uint64_t a = loadLittle<uint64_t>(src + i * 8), b = loadLittle<uint64_t>(src + i * 8 + 1);
        storeLittle(dst + i * 8, (a >> 4 & inEveryByte(0x0F)) | (b << 4 & inEveryByte(0xF0)));
    }
    for (size_t i = nWords * 8; i < nBytes; ++i) dst[i] = uint8_t(src[i] >> 4 | src[i + 1] << 4);
}

uint8_t nibble(const uint8_t* p, uint64_t n) noexcept { return n & 1 ? p[n / 2] >> 4 : p[n / 2] & 15; }

// 12-bit pixels are three half-bytes each in a stream with the low half first.
void copyNibbles(uint8_t* dst, uint64_t nDst, const uint8_t* src, uint64_t nSrc, uint64_t nCount) noexcept {
    if (nCount && nDst & 1) {
        dst[nDst / 2] = uint8_t((dst[nDst / 2] & 0x0F) | nibble(src, nSrc) << 4);
        ++nDst, ++nSrc, --nCount;
    }
    const size_t nBytes = size_t(nCount / 2);
    if (nSrc & 1)
        shiftNibbles(dst + nDst / 2, src + nSrc / 2, nBytes);
    else
        std::memcpy(dst + nDst / 2, src + nSrc / 2, nBytes);
    if (nCount & 1) {
        uint8_t& last = dst[nDst / 2 + nBytes];
        last = uint8_t((last & 0xF0) | nibble(src, nSrc + nCount - 1));
    }
}

}  // namespace

void copyBits(uint8_t* dst, uint64_t dstBit, const uint8_t* src, uint64_t srcBit, uint64_t count) noexcept {
    if (const int nPhase = int(dstBit % 8); nPhase && count) {
        const int n = int(count < uint64_t(8 - nPhase) ? count : uint64_t(8 - nPhase));
        mergeBits(dst + dstBit / 8, nPhase, readBits(src, srcBit, n), n);
        dstBit += unsigned(n), srcBit += unsigned(n), count -= unsigned(n);
    }
    const size_t nBytes = size_t(count / 8);
    uint8_t* d = dst + dstBit / 8;
    const uint8_t* s = src + srcBit / 8;
    if (srcBit % 8)
        shiftBytes(d, s, nBytes, int(srcBit % 8));
    else
        std::memcpy(d, s, nBytes);
    if (const int n = int(count % 8)) mergeBits(d + nBytes, 0, readBits(s + nBytes, srcBit % 8, n), n);
}

void copyPixels(int32_t nBits, uint8_t* dst, uint64_t dstCol, const uint8_t* src, uint64_t srcCol,
                uint64_t count) noexcept {
    const auto n = uint64_t(nBits);
    if (nBits < 8)
        copyBits(dst, dstCol * n, src, srcCol * n, count * n);
    else if (nBits == 12)
        copyNibbles(dst, dstCol * 3, src, srcCol * 3, count * 3);
    else
        std::memcpy(dst + dstCol * (n / 8), src + srcCol * (n / 8), size_t(count * (n / 8)));
}

}  // namespace rv
