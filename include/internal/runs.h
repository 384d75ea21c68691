// Run lists as code works on them: writing one run by run or from pixels, walking one, expanding one.
#pragma once

#include <cstdint>

#include "internal/pixels.h"

namespace rv {

constexpr uint32_t kLongestRun = 65535;

// Values that the list of a row of nWidth pixels has at most, as RunWriter writes it.
constexpr uint64_t mostRuns(uint32_t nWidth) noexcept { return uint64_t(nWidth) + 1; }

// A list being written: the place of the next value, and the run that is still open.
struct OpenRuns {
    uint16_t* p;
    uint32_t nRun;
    uint32_t nColour;

    // Lengthens the open run. What passes 65535 goes on behind a run of the other colour that has no pixels.
    void lengthen(uint32_t n) noexcept {
        while (n > kLongestRun - nRun) {
            n -= kLongestRun - nRun;
            *p++ = uint16_t(kLongestRun);
            *p++ = 0;
            nRun = 0;
        }
        nRun += n;
    }
    // Closes the open run and starts one of the other colour.
    void flip() noexcept {
        *p++ = uint16_t(nRun);
        nRun = 0;
        nColour ^= 1;
    }
};

// A place in a list: what is left of the present run, and the values that follow it.
struct RunCursor {
    const uint16_t* p;
    const uint16_t* pEnd;
    uint32_t nRun;
    uint32_t nColour = 0;

    RunCursor(const uint16_t* pList, uint32_t nWords) noexcept
        : p(nWords ? pList + 1 : pList), pEnd(pList + nWords), nRun(nWords ? *pList : 0) {}
    // A single run of 0-bits, of any length.
    explicit RunCursor(uint32_t nWidth) noexcept : p(nullptr), pEnd(nullptr), nRun(nWidth) {}

    bool next() noexcept {
        if (p == pEnd) return false;
        nRun = *p++;
        nColour ^= 1;
        return true;
    }
    // Goes n pixels on, to a run that has pixels left, or to the end of the list.
    void skip(uint32_t n) noexcept;
};

// The sum of a list.
uint64_t sumRuns(const uint16_t* pList, uint32_t nWords) noexcept;

// The kernels between pixels and runs. expand writes nWidth pixels to bytes that are clear; a list that ends early
// leaves 0-bits. encode adds nBits pixels, the first of them at bit nFirstBit (0 to 7) from the top of *pBits. It may
// write past the values that it adds, but never more values than it has pixels.
struct RunOps {
    void (*encode)(OpenRuns& runs, const uint8_t* pBits, uint32_t nFirstBit, uint32_t nBits) noexcept;
    void (*expand)(RunCursor from, uint8_t* pBits, uint32_t nWidth) noexcept;
};
extern const RunOps kPlainRuns;  // byte by byte
extern const RunOps kWordRuns;   // by 64-bit words
#ifdef __x86_64__
extern const RunOps kBmiRuns;  // the same, with the bit scans of AVX2 machines
#endif
const RunOps& bestRuns() noexcept;

// Writes nWidth pixels of a list from nCol on to nBytes bytes, which are at least as many; what is beyond is cleared.
inline void expandRuns(RunCursor from, uint32_t nCol, uint8_t* pBits, uint32_t nWidth, uint32_t nBytes) noexcept {
    std::memset(pBits, 0, nBytes);
    if (nCol) from.skip(nCol);
    bestRuns().expand(from, pBits, nWidth);
}

// Writes a list without runs of length 0, but for a first one and those inside long runs.
class RunWriter {
    OpenRuns m_open;
    const RunOps& m_ops = bestRuns();

public:
    explicit RunWriter(uint16_t* pOut, uint32_t nRun = 0, uint32_t nColour = 0) noexcept
        : m_open{pOut, nRun, nColour} {}

    void add(uint32_t nColour, uint32_t n) noexcept {
        if (n == 0) return;
        if (nColour != m_open.nColour) m_open.flip();
        m_open.lengthen(n);
    }
    void addBits(const uint8_t* pBits, uint32_t nFirstBit, uint32_t nBits) noexcept {
        if (nBits) m_ops.encode(m_open, pBits, nFirstBit, nBits);
    }
    // n pixels from the cursor on, which goes along; 0-bits where the list ends early.
    void addRuns(RunCursor& from, uint32_t n) noexcept {
        while (n) {
            const uint32_t nNow = from.nRun < n ? from.nRun : n;
            add(from.nColour, nNow);
            from.nRun -= nNow;
            n -= nNow;
            if (n && !from.next()) return add(0, n);
        }
    }
    // Closes the list, and gives the place behind it.
    uint16_t* finish() noexcept {
        *m_open.p++ = uint16_t(m_open.nRun);
        return m_open.p;
    }
};

// A list as it travels: its count, in two values, then its values.
constexpr uint32_t kRecordHead = 2;
inline uint32_t recordWords(const uint16_t* pRecord) noexcept {
    return loadLittle<uint32_t>(reinterpret_cast<const uint8_t*>(pRecord));
}
inline const uint16_t* nextRecord(const uint16_t* pRecord) noexcept {
    return pRecord + kRecordHead + size_t(recordWords(pRecord));
}
inline RunCursor recordRuns(const uint16_t* pRecord) noexcept { return {pRecord + kRecordHead, recordWords(pRecord)}; }

// Stores the count of a record whose values end at pEnd; gives pEnd, where the next record starts.
inline uint16_t* closeRecord(uint16_t* pRecord, uint16_t* pEnd) noexcept {
    storeLittle(reinterpret_cast<uint8_t*>(pRecord), uint32_t(pEnd - pRecord) - kRecordHead);
    return pEnd;
}
// The record of nWidth pixels from bit nFirstBit of *pBits on; gives the place behind it.
inline uint16_t* writeRecord(uint16_t* pRecord, const uint8_t* pBits, uint32_t nFirstBit, uint32_t nWidth) noexcept {
    RunWriter writer(pRecord + kRecordHead);
    writer.addBits(pBits, nFirstBit, nWidth);
    return closeRecord(pRecord, writer.finish());
}

}  // namespace rv
