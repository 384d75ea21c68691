// Combining stretches of rows: the working form of the flags, and the kernels that follow it.
#pragma once

#include "internal/rvclasses_.h"
#include "ravokit/combine.h"

namespace rv {

// The samples of a pixel.
struct SampleLayout {
    enum Kind { bits, packed, bytes, words, color555, gray12, gray16, gray32 } kind;
    uint32_t nBits = 8, nLow = 0;  // of a sample, and below the gray ones
    bool bWhole = true;            // no bit of the pixel is outside of its samples
};
SampleLayout sampleLayout(const BITMAPRECORD& bm) noexcept;

// What the flags come to at a layout. A truth table has bit 2s + d for the result of source bit s and destination bit
// d; it tells all where bTable, else the operation works on samples.
struct CombineForm {
    uint32_t uOperation = 0;              // the digit, 3 to 11
    uint32_t uTable = 0;                  // 4 bits
    uint32_t uSource = 0, uDest = 0;      // digits 0 to 3: as is, inverted, zeros, ones
    bool bTable = true, bInvert = false;  // bInvert: the result of the samples
    bool bReadsSource = true;
    bool bChanges = true;  // false: the destination comes out as it was, whatever the source
};
bool areCombineFlags(uint32_t uFlags) noexcept;
CombineForm combineForm(uint32_t uFlags, const SampleLayout& layout) noexcept;

// ---- kernels; source and destination don't overlap

// d = table(s, d) for n bytes.
void combineBits(uint32_t uTable, const uint8_t* s, uint8_t* d, size_t n) noexcept;

// Operands and result as and with a mask and exclusive or with another, of samples of nBits bits.
struct SampleTerms {
    uint32_t uSrcAnd, uSrcXor, uDstAnd, uDstXor, uXor;
    uint32_t nBits, nLow;
    uint32_t max() const noexcept { return uint32_t((uint64_t(1) << nBits) - 1); }
};
SampleTerms sampleTerms(const CombineForm& form, const SampleLayout& layout) noexcept;

// The operation on n samples of 8 or 16 bits, on pixels of three 5-bit samples, on windows of 16 or 32 bits.
void combineBytes(uint32_t uOperation, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept;
void combineWords(uint32_t uOperation, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept;
void combine555(uint32_t uOperation, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept;
void combineWindow16(uint32_t uOperation, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept;
void combineWindow32(uint32_t uOperation, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept;

// Combines stretches of rows of one call.
class RowCombiner {
    uint32_t m_nBits;
    SampleLayout m_layout;
    CombineForm m_form;
    SampleTerms m_terms;
    Buffer<uint8_t> m_scratch;  // the source's stretch, where it has to move first

    void tableRow(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n) const noexcept;
    void sampleRow(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n) const noexcept;

public:
    RowCombiner(const BITMAPRECORD& dst, const CombineForm& form) noexcept;
    // Memory for stretches of up to nWidth pixels; false when there is none.
    bool prepare(uint32_t nWidth) noexcept;
    // The rows may be one and the same, or stretches of it overlap. s is null where the source isn't read.
    void row(const uint8_t* s, uint64_t nSrcCol, uint8_t* d, uint64_t nDstCol, size_t n) const noexcept;
};

}  // namespace rv
