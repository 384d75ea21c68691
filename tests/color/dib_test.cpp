#include "ravokit/dib.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

template <class T>
T at(const void* p, size_t nOffset) {
    T v;
    std::memcpy(&v, static_cast<const uint8_t*>(p) + nOffset, sizeof v);
    return v;
}

// Bytes that end where the process may read no further.
class AtPageEnd {
    uint8_t* m_pMap;
    size_t m_nMap, m_nBytes;

public:
    explicit AtPageEnd(const Bytes& bytes) : m_nBytes(bytes.size()) {
        const auto nPage = size_t(sysconf(_SC_PAGESIZE));
        m_nMap = (bytes.size() / nPage + 2) * nPage;
        m_pMap =
            static_cast<uint8_t*>(mmap(nullptr, m_nMap, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(m_pMap + m_nMap - nPage, nPage, PROT_NONE);
        m_nMap -= nPage;
        std::copy(bytes.begin(), bytes.end(), m_pMap + m_nMap - m_nBytes);
    }
    AtPageEnd(const AtPageEnd&) = delete;
    ~AtPageEnd() { munmap(m_pMap, m_nMap + size_t(sysconf(_SC_PAGESIZE))); }
    uint8_t* get() const { return m_pMap + m_nMap - m_nBytes; }
};

struct Header {
    uint32_t uSize = 40;
    int32_t nWidth = 0, nHeight = 0;
    uint16_t nPlanes = 1, nBits = 24;
    uint32_t uCompression = 0, uSizeImage = 0;
    int32_t nXPels = 0, nYPels = 0;
    uint32_t nColors = 0, nImportant = 0;
};
static_assert(sizeof(Header) == 40);

Bytes dibOf(const Header& header, const Bytes& rest) {
    Bytes out(sizeof header + rest.size());
    std::memcpy(out.data(), &header, sizeof header);
    for (size_t i = 0; i < rest.size(); ++i) out[sizeof header + i] = rest[i];
    return out;
}
uint32_t codeOf(const std::string& code) { return at<uint32_t>(code.data(), 0); }

int32_t fromDib(Bitmap& bm, const Bytes& dib) {
    R_FreeBitmap(&bm);
    return R_ConvertFromDIB(&bm, sizeof bm.record, AtPageEnd(dib).get(), 0);
}

using Block = std::unique_ptr<void, decltype(&R_LocalFree)>;
Block toDib(Bitmap& bm, uint32_t* puSize = nullptr) { return {R_ConvertToDIBPTR(&bm, 0, puSize), R_LocalFree}; }

// The pixel of the picture as it is seen, by the meaning of the views.
uint64_t seenAt(const BITMAPRECORD& bm, const Bytes& rows, int32_t x, int32_t y) {
    const int v = bm.ViewPerspective;
    if (v >= LEFT_TOP) std::swap(x, y);
    const bool bMirror = v == 2 || v == 3 || v == 7 || v == 8, bFlip = v == 3 || v == 4 || v == 6 || v == 7;
    if (bMirror) x = bm.Width - 1 - x;
    if (bFlip) y = bm.Height - 1 - y;
    return pixelAt(&rows[size_t(y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(x));
}

TEST(Dib, RoundTripsOverAllDepthsAndViews) {
    for (const int32_t nBits : kDepths)
        for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
            SCOPED_TRACE(testing::Message() << nBits << " bits, view " << nView);
            Bitmap src(nBits, 13, 6), resolved, back;
            fillRandom(src.record, unsigned(nView));
            src->ViewPerspective = nView;
            // What a DIB doesn't have is what colour resolution makes of it.
            const int32_t nWant = nBits == 2 || nBits == 3     ? 4
                                  : nBits >= 5 && nBits <= 7   ? 8
                                  : nBits == 12 || nBits == 48 ? 24
                                  : nBits == 64                ? 32
                                                               : nBits;
            ASSERT_EQ(R_ColorResBitmap(&src, &resolved, sizeof resolved.record, nWant, nWant <= 8 ? 2 : 4, nullptr,
                                       nullptr, 0, nullptr, nullptr),
                      1);
            uint32_t nSize = 0;
            const Block dib = toDib(src, &nSize);
            ASSERT_TRUE(dib);
            const auto* p = static_cast<const uint8_t*>(dib.get());
            ASSERT_EQ(R_ConvertFromDIB(&back, sizeof back.record, AtPageEnd(Bytes(p, p + nSize)).get(), 0), 1);
            EXPECT_EQ(back->BitsPerPixel, nWant);
            EXPECT_EQ(back->ViewPerspective, BOTTOM_LEFT);
            const bool bColumns = nView >= LEFT_TOP;
            ASSERT_EQ(back->Width, bColumns ? 6 : 13);
            ASSERT_EQ(back->Height, bColumns ? 13 : 6);
            const Bytes want = contents(nWant == nBits ? src.record : resolved.record), got = contents(back.record);
            for (int32_t y = 0; y < back->Height; ++y)
                for (int32_t x = 0; x < back->Width; ++x)
                    ASSERT_EQ(seenAt(back.record, got, x, y),
                              seenAt(nWant == nBits ? src.record : resolved.record, want, x, y))
                        << x << " " << y;
            if (nWant <= 8) {
                ASSERT_EQ(back->nColors, 1u << nBits);
                for (uint32_t i = 0; i < back->nColors; ++i)
                    EXPECT_EQ(std::memcmp(&back->pPalette[i], &src->pPalette[i], 3), 0);
            }
        }
}

TEST(Dib, HeaderColorsAndRowsStandAsPublished) {
    Bitmap bm(4, 5, 2);
    bm->XResolution = 96, bm->YResolution = 300, bm->nColors = 3;
    setContents(bm.record, {0x12, 0x01, 0x2F, 0, 0x21, 0x02, 0x1F, 0});
    MEMHANDLE* h = R_ConvertToDIB(&bm);
    ASSERT_TRUE(h);
    EXPECT_EQ(WinGlobalSize(h), 40u + 12 + 8);
    const Header header = at<Header>(R_OsLockHandle(h), 0);
    EXPECT_EQ(header.uSize, 40u);
    EXPECT_EQ(header.nWidth * 10 + header.nHeight, 52);
    EXPECT_EQ(header.nPlanes * 10 + header.nBits, 14);
    EXPECT_EQ(header.uCompression, 0u);
    EXPECT_EQ(header.uSizeImage, 8u);
    EXPECT_EQ(header.nXPels, 3780);
    EXPECT_EQ(header.nYPels, 11811);
    EXPECT_EQ(header.nColors * 10 + header.nImportant, 30u);
    const auto* p = static_cast<const uint8_t*>(R_OsLockHandle(h)) + 40;
    EXPECT_EQ(std::memcmp(p, bm->pPalette, 12), 0);
    EXPECT_EQ(Bytes(p + 12, p + 20), (Bytes{0x21, 0x02, 0x1F, 0, 0x12, 0x01, 0x2F, 0}));

    // The way back from a handle; R_ChangeFromDIB takes it.
    Bitmap back, mirrored;
    ASSERT_EQ(R_MirrorFromDIB(&mirrored, sizeof mirrored.record, R_OsLockHandle(h)), 1);
    EXPECT_EQ(mirrored->ViewPerspective, TOP_LEFT);
    EXPECT_EQ(contents(mirrored.record), contents(bm.record));
    const long nBlocks = faults::liveBlocks();
    ASSERT_EQ(R_ChangeFromDIB(&back, sizeof back.record, h), 1);
    EXPECT_EQ(back->XResolution * 1000 + back->YResolution, 96300);
    R_FreeBitmap(&back);
    EXPECT_EQ(faults::liveBlocks(), nBlocks - 2) << "the handle and its block";

    // Red and blue change places; the bitmap goes.
    Bitmap rgb(24, 1, 1, Holding::conventional, ORDER_RGB);
    setContents(rgb.record, {1, 2, 3, 0});
    h = R_ChangeToDIB(&rgb);
    ASSERT_TRUE(h);
    EXPECT_FALSE(rgb->Flags & BMF_ALLOCATED);
    EXPECT_EQ(std::memcmp(static_cast<const uint8_t*>(R_OsLockHandle(h)) + 40, "\3\2\1", 4), 0);
    R_OsFreeHandle(h);
}

TEST(Dib, KindsOfStorageAndMissingMemory) {
    for (const Holding holding : holdingsOf(24)) {
        Bitmap src(24, 33, 12, holding), plain(24, 33, 12);
        fillRandom(src.record, 3);
        setContents(plain.record, contents(src.record));
        for (const int32_t nView : {TOP_LEFT, RIGHT_BOTTOM}) {
            src->ViewPerspective = plain->ViewPerspective = nView;
            uint32_t n = 0;
            const Block a = toDib(src, &n), b = toDib(plain);
            ASSERT_TRUE(a && b) << nameOf(holding);
            EXPECT_EQ(std::memcmp(a.get(), b.get(), n), 0) << nameOf(holding) << " " << nView;
        }
    }
    Bitmap src(3, 20, 7), none;
    BITMAPRECORD bad = src.record;
    bad.uStructSize = 3;
    EXPECT_FALSE(R_ConvertToDIB(nullptr) || R_ConvertToDIB(&none) || R_ConvertToDIB(&bad));
    src->ViewPerspective = LEFT_TOP;
    for (int k = 0;; ++k) {
        const long nBlocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(k);
        uint32_t nSize = 9;
        Block dib = toDib(src, &nSize);
        fail.stop();
        if (!fail.fired()) break;
        ASSERT_FALSE(dib);
        ASSERT_EQ(nSize, 0u);
        ASSERT_EQ(faults::liveBlocks(), nBlocks) << k;
    }
}

TEST(Dib, OldHeadersMasksAndSkippedColors) {
    Bitmap bm;
    // 12 bytes: 3 x 1 pixels of 1 bit; entries of three bytes.
    ASSERT_EQ(fromDib(bm, {12, 0, 0, 0, 3, 0, 1, 0, 1, 0, 1, 0, 9, 8, 7, 6, 5, 4, 0x40, 0, 0, 0}), 1);
    EXPECT_EQ(bm->Width * 10 + bm->BitsPerPixel, 31);
    EXPECT_EQ(bm->nColors, 2u);
    EXPECT_EQ(std::memcmp(bm->pPalette, "\11\10\7\0\6\5\4", 8), 0);
    EXPECT_EQ(bm->XResolution, R_GetDefaultXResolution());
    EXPECT_EQ(contents(bm.record), (Bytes{0x40, 0, 0, 0}));

    // 5-6-5 loses the lowest green; ten bits a channel lose two; a missing channel is black. Above 8 bits colours are
    // skipped.
    Header header;
    header.nWidth = 1, header.nHeight = -1, header.nBits = 16, header.uCompression = 3;
    ASSERT_EQ(fromDib(bm, dibOf(header, {0, 0xF8, 0, 0, 0xE0, 7, 0, 0, 0x1F, 0, 0, 0, 0x21, 0x84, 0, 0})), 1);
    EXPECT_EQ(bm->ViewPerspective, TOP_LEFT);
    EXPECT_EQ(at<uint16_t>(contents(bm.record).data(), 0), 16 << 10 | 16 << 5 | 1);
    header.nBits = 32, header.nColors = 1;
    ASSERT_EQ(fromDib(bm, dibOf(header, {0, 0,    0xF0, 0x3F, 0, 0xFC, 0x0F, 0, 0, 0, 0, 0,  //
                                         9, 9,    9,    9,                                   //
                                         0, 0x04, 0xF8, 0x1F})),
              1);
    EXPECT_EQ(contents(bm.record), (Bytes{0, 0x80, 0x7F, 255}));
    header.uCompression = 0, header.nColors = 2;
    ASSERT_EQ(fromDib(bm, dibOf(header, {9, 9, 9, 9, 9, 9, 9, 9, 1, 2, 3, 4})), 1);
    EXPECT_EQ(contents(bm.record), (Bytes{1, 2, 3, 4})) << "plain rows keep their fourth byte";
}

TEST(Dib, LyingHeadersAreRefusedAndNothingElseIsRead) {
    Bitmap bm;
    const auto status = [&](void (*change)(Header&), const Bytes& rest = Bytes(12)) {
        Header header;
        header.nWidth = 2, header.nHeight = 1;
        change(header);
        return fromDib(bm, dibOf(header, rest));
    };
    EXPECT_EQ(status([](Header&) {}), 1);
    for (const uint32_t uSize : {0u, 3u, 11u, 39u, 41u, 108u, ~0u}) {
        Bytes dib = dibOf({}, {});
        std::memcpy(dib.data(), &uSize, 4);
        EXPECT_EQ(fromDib(bm, dib), -13) << uSize;
    }
    EXPECT_EQ(status([](Header& h) { h.nPlanes = 0; }), -13);
    EXPECT_EQ(status([](Header& h) { h.nHeight = INT32_MIN; }), -13);
    EXPECT_EQ(status([](Header& h) { h.nWidth = 0; }), -11);
    EXPECT_EQ(status([](Header& h) { h.nWidth = -2; }), -11);
    EXPECT_EQ(status([](Header& h) { h.nHeight = 0; }), -11);
    EXPECT_EQ(status([](Header& h) { h.nWidth = 0x0B000000; }), -11);
    EXPECT_LT(status([](Header& h) { h.nWidth = INT32_MAX; }), 0) << "past what 32 bits address";
    EXPECT_EQ(status([](Header& h) { h.nBits = 2; }), -27);
    EXPECT_EQ(status([](Header& h) { h.nBits = 48; }), -27);
    EXPECT_EQ(status([](Header& h) { h.nColors = 257; }), -13);
    EXPECT_EQ(status([](Header& h) { h.nBits = 4, h.nColors = 17; }), -13);
    for (const uint32_t u : {1u, 2u, 4u, 6u, codeOf("ABCD"), codeOf("JPEG"), codeOf("MJPG"), codeOf("dmb1")}) {
        Bytes dib = dibOf({40, 16, 16, 1, 24, u, 0, 0, 0, 0, 0}, {});
        EXPECT_EQ(fromDib(bm, dib), -16) << u;
    }
    EXPECT_EQ(status([](Header& h) { h.nBits = 24, h.uCompression = 3; }), -16);
    EXPECT_EQ(status([](Header& h) { h.nBits = 16, h.uCompression = 3; }, {5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), -16);
    EXPECT_EQ(status([](Header& h) { h.nBits = 16, h.uCompression = 3; }, {0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}), -16);
    EXPECT_FALSE(bm->Flags & BMF_ALLOCATED);

    // A handle is measured.
    for (uint32_t n = 1; n < 48; ++n) {
        MEMHANDLE* h = R_OsAllocHandle(66, n, 0, nullptr);
        const Header header{40, 2, 1, 1, 24, 0, 0, 0, 0, 0, 0};
        std::memcpy(R_OsLockHandle(h), &header, std::min<size_t>(n, 40));
        EXPECT_EQ(R_ChangeFromDIB(&bm, sizeof bm.record, h), -13) << n;
        R_OsFreeHandle(h);
    }
    const Bytes plain = dibOf({40, 2, 1, 1, 24, 0, 0, 0, 0, 0, 0}, Bytes(8));
    EXPECT_EQ(R_ChangeFromDIB(&bm, sizeof bm.record, AtPageEnd(plain).get()), 1);
    EXPECT_EQ(R_ConvertFromDIB(&bm, 7, nullptr, 0), -789);
    EXPECT_EQ(R_ConvertFromDIB(nullptr, sizeof bm.record, "", 0), -13);
    EXPECT_EQ(R_ChangeFromDIB(&bm, sizeof bm.record, nullptr), -13);
    EXPECT_EQ(R_MirrorFromDIB(&bm, BITMAPRECORD_OLD_SIZE, nullptr), -13);
}

// ---- frames ------------------------------------------------------------------------------------------------------

// Samples of a frame, told by place, and what they are as a pixel.
int lumaAt(int x, int y) { return 16 + (x * 37 + y * 59) % 220; }
int uAt(int x, int y) { return 20 + (x * 41 + y * 23) % 210; }
int vAt(int x, int y) { return 230 - (x * 31 + y * 47) % 205; }
Bytes pixelOf(int Y, int U, int V) {
    const auto limit = [](int v) { return uint8_t(std::clamp(v >> 10, 0, 255)); };
    const int c = Y - 16;
    return {limit(1192 * c + 2066 * U - 263937), limit(1192 * c - 401 * U - 832 * V + 158335),
            limit(1192 * c + 1634 * V - 208641)};
}

struct Frame {
    const char* pCode;
    uint16_t nBits;
    int nWidth, nHeight;  // the least one takes, or a bit more
    int nStepX, nStepY;   // pixels to a chroma sample
    std::string layout;   // "yuv" planes, or a packed group: Y with its pixel, U, V with their first pixel
};
const Frame kFrames[] = {
    {"YVU9", 9, 32, 16, 4, 4, "yvu"},
    {"IF09", 9, 16, 32, 4, 4, "yvu"},
    {"I420", 12, 8, 4, 2, 2, "yuv"},
    {"IYUV", 12, 4, 8, 2, 2, "yuv"},
    {"YV12", 12, 12, 4, 2, 2, "yvu"},
    {"Y41P", 12, 16, 4, 4, 1, "U0 Y0 V0 Y1 U4 Y2 V4 Y3 Y4 Y5 Y6 Y7"},
    {"Y41T", 12, 8, 8, 4, 1, "U0 Y0 V0 Y1 U4 Y2 V4 Y3 Y4 Y5 Y6 Y7"},
    {"UYVY", 16, 6, 3, 2, 1, "U0 Y0 V0 Y1"},
    {"Y42T", 16, 2, 1, 2, 1, "U0 Y0 V0 Y1"},
    {"cyuv", 16, 4, 5, 2, 1, "U0 Y0 V0 Y1"},
    {"YUY2", 16, 10, 2, 2, 1, "Y0 U0 Y1 V0"},
    {"YVYU", 16, 4, 2, 2, 1, "Y0 V0 Y1 U0"},
    {"Y211", 8, 8, 3, 4, 1, "Y0 U0 Y2 V0"},
};

Bytes encode(const Frame& f) {
    Bytes out;
    if (f.layout[0] == 'y') {
        for (const char plane : f.layout)
            for (int y = 0; y < f.nHeight; y += plane == 'y' ? 1 : f.nStepY)
                for (int x = 0; x < f.nWidth; x += plane == 'y' ? 1 : f.nStepX)
                    out.push_back(uint8_t(plane == 'y' ? lumaAt(x, y) : plane == 'u' ? uAt(x, y) : vAt(x, y)));
        return out;
    }
    const int nGroup = f.layout.size() > 12 ? 8 : f.nStepX;
    for (int y = 0; y < f.nHeight; ++y)
        for (int x = 0; x < f.nWidth; x += nGroup)
            for (size_t i = 0; i < f.layout.size(); i += 3) {
                const int px = x + (f.layout[i + 1] - '0');
                out.push_back(uint8_t(f.layout[i] == 'Y'   ? lumaAt(px, y)
                                      : f.layout[i] == 'U' ? uAt(px, y)
                                                           : vAt(px, y)));
            }
    return out;
}

TEST(Dib, FramesOfEveryCode) {
    EXPECT_EQ(pixelOf(16, 128, 128), (Bytes{0, 0, 0}));
    EXPECT_EQ(pixelOf(235, 128, 128), (Bytes{255, 255, 255}));
    for (const Frame& f : kFrames)
        for (const bool b24 : {false, true}) {
            SCOPED_TRACE(f.pCode);
            Header header{40, f.nWidth, f.nHeight, 1, b24 ? uint16_t(24) : f.nBits, codeOf(f.pCode), 0, 0, 0, 0, 0};
            Bitmap bm;
            ASSERT_EQ(fromDib(bm, dibOf(header, encode(f))), 1);
            EXPECT_EQ(bm->BitsPerPixel * 10 + bm->Order, 241);
            EXPECT_EQ(bm->ViewPerspective, BOTTOM_LEFT);
            const Bytes rows = contents(bm.record);
            for (int y = 0; y < f.nHeight; ++y)
                for (int x = 0; x < f.nWidth; ++x) {
                    const int row = std::string(f.pCode) == "cyuv" ? f.nHeight - 1 - y : y;
                    const int lx = std::string(f.pCode) == "Y211" ? x / 2 * 2 : x;
                    const int cx = x / f.nStepX * f.nStepX, cy = row / f.nStepY * f.nStepY;
                    const uint8_t* p = &rows[size_t(y) * bm->BytesPerLine + size_t(x) * 3];
                    ASSERT_EQ(Bytes(p, p + 3), pixelOf(lumaAt(lx, row), uAt(cx, cy), vAt(cx, cy))) << x << " " << y;
                }
            // Dimensions and depths that the code doesn't take.
            Header odd = header;
            odd.nWidth += 1;
            EXPECT_EQ(fromDib(bm, dibOf(odd, {})), -16);
            odd = header, odd.nBits = 4;
            EXPECT_EQ(fromDib(bm, dibOf(odd, {})), -16);
            odd = header, odd.nHeight += 1;
            if (f.layout[0] == 'y' || f.layout.size() > 12) {
                EXPECT_EQ(fromDib(bm, dibOf(odd, {})), -16);
            }
        }
    // A last group that is not full is there as a whole.
    Bitmap bm;
    Frame cut = kFrames[5];
    cut.nWidth = 4;
    ASSERT_EQ(fromDib(bm, dibOf({40, 4, 4, 1, 12, codeOf("Y41P"), 0, 0, 0, 0, 0}, encode(cut))), 1);
    const Bytes rows = contents(bm.record);
    EXPECT_EQ(Bytes(&rows[9], &rows[9] + 3), pixelOf(lumaAt(3, 0), uAt(0, 0), vAt(0, 0)));
    EXPECT_EQ(Bytes(&rows[bm->BytesPerLine], &rows[bm->BytesPerLine] + 3), pixelOf(lumaAt(0, 1), uAt(0, 1), vAt(0, 1)));
}

}  // namespace
