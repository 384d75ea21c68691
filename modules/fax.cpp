// The codec of pages: CCITT Group 4 (ITU-T T.6) of 1 bit, with 1-bits as black. Whole rows are coded, with what stands
// behind their last pixel.
//
// The library that codes wants a file. It is shown one that is only what it asks for, on top of the caller's buffer: a
// header and, for reading, a directory in front of the coded bytes.
#include <tiffio.h>

#include <algorithm>
#include <memory>

#include "strip.h"

namespace {

constexpr Accepted kAccepted{CODEC_FORMAT_FAX, 0, {1, 1}, kCoded};

// Bytes of the front of a file that is read: the header, and a directory of nine entries.
constexpr size_t kReadFront = 8 + 2 + 9 * 12 + 4;

// A file in memory: bytes in front, which are dropped when written, and the caller's buffer behind them.
class MemoryFile {
    uint8_t m_front[kReadFront] = {};
    uint64_t m_nFront;
    uint8_t* m_pData;
    uint64_t m_nData, m_nRoom;
    uint64_t m_nAt = 0;

    static MemoryFile& of(thandle_t h) { return *static_cast<MemoryFile*>(h); }
    uint64_t size() const { return m_nFront + m_nData; }

    tmsize_t read(uint8_t* p, uint64_t n) {
        const uint64_t nAll = m_nAt < size() ? std::min(n, size() - m_nAt) : 0;
        const uint64_t nFront = m_nAt < m_nFront ? std::min(nAll, m_nFront - m_nAt) : 0;
        std::memcpy(p, m_front + std::min(m_nAt, m_nFront), size_t(nFront));
        m_nAt += nFront;
        std::memcpy(p + nFront, nAll > nFront ? m_pData + (m_nAt - m_nFront) : m_pData, size_t(nAll - nFront));
        m_nAt += nAll - nFront;
        return tmsize_t(nAll);
    }
    tmsize_t write(const uint8_t* p, uint64_t n) {
        if (bClosing) return tmsize_t(n);
        uint64_t nFront = m_nAt < m_nFront ? std::min(n, m_nFront - m_nAt) : 0;
        m_nAt += nFront;
        const uint64_t nLeft = n - nFront;
        if (nLeft) {
            const uint64_t nTo = m_nAt - m_nFront;
            if (nTo > m_nRoom || nLeft > m_nRoom - nTo) return -1;
            std::memcpy(m_pData + nTo, p + nFront, size_t(nLeft));
            m_nData = std::max(m_nData, nTo + nLeft);
            m_nAt += nLeft;
        }
        return tmsize_t(n);
    }
    static int hear(TIFF*, void* pThis, const char*, const char*, va_list) {
        static_cast<MemoryFile*>(pThis)->bComplained = true;
        return 1;
    }

public:
    bool bComplained = false;  // an error or a warning was told
    bool bClosing = false;     // what is written from here on is of no use

    // For writing: a header, and the data to come.
    MemoryFile(uint8_t* pData, uint64_t nRoom) : m_nFront(8), m_pData(pData), m_nData(0), m_nRoom(nRoom) {}
    // For reading: a directory that tells of one strip.
    MemoryFile(const Strip& strip, const uint8_t* pData, uint32_t nBytes)
        : m_nFront(sizeof m_front), m_pData(const_cast<uint8_t*>(pData)), m_nData(nBytes), m_nRoom(0) {
        uint8_t* p = m_front;
        const auto put = [&p](const auto value) {
            std::memcpy(p, &value, sizeof value);
            p += sizeof value;
        };
        const auto entry = [&](uint16_t nTag, uint32_t nValue, bool bLong) {
            put(nTag);
            put(uint16_t(bLong ? TIFF_LONG : TIFF_SHORT));
            put(uint32_t(1));
            if (bLong) return put(nValue);
            put(uint16_t(nValue));
            put(uint16_t(0));
        };
        constexpr uint16_t kOne = 1;
        const char order = *reinterpret_cast<const char*>(&kOne) ? 'I' : 'M';
        put(order);
        put(order);
        put(uint16_t(42));
        put(uint32_t(8));
        put(uint16_t(9));
        entry(TIFFTAG_IMAGEWIDTH, strip.nStride * 8, true);
        entry(TIFFTAG_IMAGELENGTH, strip.nRows, true);
        entry(TIFFTAG_BITSPERSAMPLE, 1, false);
        entry(TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4, false);
        entry(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE, false);
        entry(TIFFTAG_STRIPOFFSETS, sizeof m_front, true);
        entry(TIFFTAG_SAMPLESPERPIXEL, 1, false);
        entry(TIFFTAG_ROWSPERSTRIP, strip.nRows, true);
        entry(TIFFTAG_STRIPBYTECOUNTS, nBytes, true);
        put(uint32_t(0));
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    uint64_t dataBytes() const { return m_nData; }

    struct Close {
        void operator()(TIFF* p) const {
            of(TIFFClientdata(p)).bClosing = true;
            TIFFClose(p);
        }
    };
    using File = std::unique_ptr<TIFF, Close>;
    // Without a mapping, and without reports to anybody else.
    File open(const char* pMode) {
        const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                                   TIFFOpenOptionsFree);
        if (!options) return nullptr;
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), hear, this);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), hear, this);
        return File(TIFFClientOpenExt(
            "strip", pMode, this,
            [](thandle_t h, void* p, tmsize_t n) { return of(h).read(static_cast<uint8_t*>(p), uint64_t(n)); },
            [](thandle_t h, void* p, tmsize_t n) { return of(h).write(static_cast<uint8_t*>(p), uint64_t(n)); },
            [](thandle_t h, toff_t n, int nFrom) {
                MemoryFile& file = of(h);
                return toff_t(file.m_nAt = n + (nFrom == SEEK_END ? file.size() : nFrom == SEEK_CUR ? file.m_nAt : 0));
            },
            [](thandle_t) { return 0; }, [](thandle_t h) { return toff_t(of(h).size()); }, nullptr, nullptr,
            options.get()));
    }
};

}  // namespace

extern "C" {

RV_API int32_t fltSaveBuffer(const BITMAPINFOHEADER* pInfo, const uint8_t* pPixels, uint32_t uPixelBytes,
                             uint8_t* pData, uint32_t uDataSize, uint32_t* puWritten, uint32_t uFormat,
                             int32_t nQuality) noexcept {
    Strip strip;
    if (const int32_t n = openSave(kAccepted, pInfo, pPixels, uPixelBytes, pData, puWritten, uFormat, nQuality, strip);
        n != 1)
        return n;

    // What is coded is to be shorter than the pixels, its form and its checksum included.
    const uint32_t nLimit = std::min(uDataSize, uPixelBytes), nBeside = 1 + kChecksumBytes;
    MemoryFile memory(pData + 1, nLimit > nBeside ? nLimit - nBeside : 0);
    bool bDone = false;
    if (const auto file = nLimit > nBeside ? memory.open("wm") : nullptr) {
        TIFF* p = file.get();
        TIFFSetField(p, TIFFTAG_IMAGEWIDTH, strip.nStride * 8);
        TIFFSetField(p, TIFFTAG_IMAGELENGTH, strip.nRows);
        TIFFSetField(p, TIFFTAG_BITSPERSAMPLE, 1);
        TIFFSetField(p, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(p, TIFFTAG_ROWSPERSTRIP, strip.nRows);
        TIFFSetField(p, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
        TIFFSetField(p, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
        bDone = TIFFWriteEncodedStrip(p, 0, const_cast<uint8_t*>(pPixels), tmsize_t(uPixelBytes)) >= 0 &&
                !memory.bComplained;
    }
    if (!bDone || !memory.dataBytes()) return savePlain(pPixels, uPixelBytes, pData, uDataSize, puWritten);
    pData[0] = kCoded;
    *puWritten = uint32_t(memory.dataBytes() + nBeside);
    seal(pData, *puWritten - kChecksumBytes);
    return 1;
}

RV_API int32_t fltLoadBuffer(const BITMAPINFOHEADER* pInfo, const uint8_t* pData, uint32_t uDataBytes, uint8_t* pPixels,
                             uint32_t uPixelSize, uint32_t uFormat) noexcept {
    Strip strip;
    if (const int32_t n = openLoad(kAccepted, pInfo, pData, uDataBytes, pPixels, uPixelSize, uFormat, strip); n != 1)
        return n;
    if (pData[0] == kPlain) return loadPlain(pData, uDataBytes, pPixels, uPixelSize);

    if (!unseal(pData, uDataBytes)) return kCorrupted;
    MemoryFile memory(strip, pData + 1, uDataBytes - 1);
    const auto file = memory.open("rm");
    if (!file) return memory.bComplained ? kCorrupted : -1;
    std::memset(pPixels, 0, uPixelSize);  // rows that the data ends before
    const tmsize_t n = TIFFReadEncodedStrip(file.get(), 0, pPixels, tmsize_t(uPixelSize));
    return n == tmsize_t(uPixelSize) && !memory.bComplained ? 1 : kCorrupted;
}

}  // extern "C"
