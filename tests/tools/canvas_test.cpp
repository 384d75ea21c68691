// The canvas's sink against a slow model: every depth, both directions of rows, stretched, clipped and overlaid.
#include "canvas.h"

#include <ravokit/objects.h>

#include <cmath>
#include <optional>

#include "pictures.h"

namespace ravo {
namespace {

constexpr SIZE kSize{61, 40};
constexpr uint32_t kGround = 0xFF306090;

struct Pixels {
    int32_t nWidth, nHeight, nBits;
    PAINTBITMAPINFO info{};
    Bytes bytes{};
    size_t nStride;

    Pixels(int32_t nW, int32_t nH, int32_t nDepth, uint32_t uSeed)
        : nWidth(nW), nHeight(std::abs(nH)), nBits(nDepth), nStride(size_t(nW * nDepth + 31) / 32 * 4) {
        info.Header = {40, nW, nH, 1, uint16_t(nDepth), 0, 0, 0, 0, 0, 0};
        std::mt19937 random(uSeed);
        for (RGBQUAD& entry : info.Table.Colors) entry = {uint8_t(random()), uint8_t(random()), uint8_t(random()), 0};
        bytes.resize(nStride * size_t(nHeight));
        for (uint8_t& n : bytes) n = uint8_t(random());
    }

    // The canvas's pixel under source pixel (x, y), y from the first row in memory on; nothing where that leaves it.
    std::optional<uint32_t> over(uint32_t uUnder, int32_t x, int32_t y, bool bOverlay, bool bPremultiplied) const {
        const uint64_t n = readPixel(&bytes[size_t(y) * nStride], x, nBits);
        double color[3], dAlpha = 1;  // blue first
        for (int k = 0; k < 3; ++k) {
            if (nBits <= 8)
                color[k] = (&info.Table.Colors[n].rgbBlue)[k];
            else if (nBits == 16)
                color[k] = std::floor(double(n >> 5 * k & 31) * 8.25);
            else
                color[k] = double(n >> (nBits == 64 ? 16 * k + 8 : 8 * k) & 255);
        }
        if (bOverlay && !n) return {};
        if (nBits >= 32) dAlpha = double(n >> (nBits - 8)) / 255;
        uint32_t uResult = 0xFF000000;
        for (int k = 0; k < 3; ++k) {
            const double dUnder = uUnder >> 8 * k & 255;
            const double d = bPremultiplied ? color[k] + std::floor(dUnder * (1 - dAlpha) + 0.5)
                                            : std::floor(color[k] * dAlpha + dUnder * (1 - dAlpha) + 0.5);
            uResult |= uint32_t(std::min(d, 255.0)) << 8 * k;
        }
        return uResult;
    }
};

struct Draw {
    RECT to, from;  // rows of from as they stand in memory
    bool bOverlay = false, bPremultiplied = false;
};

std::vector<uint32_t> contentsOf(const Canvas& canvas) {
    std::vector<uint32_t> all;
    for (int32_t y = 0; y < kSize.height; ++y) all.insert(all.end(), canvas.row(y), canvas.row(y) + kSize.width);
    return all;
}

template <class Visible>
void compare(Canvas& canvas, const Pixels& pixels, const Draw& draw, Visible visible) {
    const RECT &to = draw.to, &from = draw.from;
    const int32_t w = to.right - to.left, h = to.bottom - to.top, sw = from.right - from.left,
                  sh = from.bottom - from.top;
    std::vector<uint32_t> want = contentsOf(canvas);
    for (int32_t y = 0; y < kSize.height; ++y)
        for (int32_t x = 0; x < kSize.width; ++x) {
            if (x < to.left || x >= to.right || y < to.top || y >= to.bottom || !visible(x, y)) continue;
            const int32_t nRow = (y - to.top) * sh / h;
            uint32_t& u = want[size_t(y * kSize.width + x)];
            u = pixels
                    .over(u, from.left + (x - to.left) * sw / w,
                          from.top + (pixels.info.Header.biHeight > 0 ? sh - 1 - nRow : nRow), draw.bOverlay,
                          draw.bPremultiplied)
                    .value_or(u);
        }
    const PAINTCALLBACKS sink = canvas.sink();
    BITMAPRECORD bm{};
    bm.Flags = draw.bPremultiplied ? BMF_PREMULTIPLIED : 0;
    sink.pfnBegin(nullptr, &bm, nullptr, sink.pUserData);
    ASSERT_NE(
        sink.pfnStretchBits(nullptr, to.left, to.top, w, h, from.left, from.top, sw, sh, pixels.bytes.data(),
                            &pixels.info, PAINTUSAGE_COLORS, draw.bOverlay ? PAINTROP_OVERLAY : 0, sink.pUserData),
        -1);
    ASSERT_EQ(contentsOf(canvas), want) << pixels.nBits << " bits to " << to.left << " " << to.right;
}

TEST(RavoCanvas, DrawsWhatComes) {
    const Draw draws[] = {{{0, 0, 61, 40}, {0, 0, 61, 40}},
                          {{-7, -3, 40, 28}, {5, 2, 52, 33}},
                          {{3, 4, 58, 39}, {1, 1, 20, 12}},    // larger
                          {{-20, 1, 90, 11}, {0, 3, 59, 40}},  // wider, lower
                          {{2, 2, 9, 9}, {3, 0, 61, 40}}};
    for (const int32_t nBits : {1, 4, 8, 16, 24, 32, 64})
        for (const int32_t nHeight : {40, -40})
            for (const Draw& draw : draws) {
                const Pixels pixels(61, nHeight, nBits, uint32_t(nBits));
                Canvas canvas(kSize);
                canvas.fill(canvas.rect(), kGround);
                compare(canvas, pixels, draw, [](int32_t, int32_t) { return true; });
                canvas.setClip({10, 5, 33, 21});
                const auto clip = [](int32_t x, int32_t y) { return x >= 10 && x < 33 && y >= 5 && y < 21; };
                compare(canvas, pixels, {draw.to, draw.from, nBits == 1, nBits == 32}, clip);
            }
}

TEST(RavoCanvas, KeepsInsideRegions) {
    RVHANDLE ring = CreateRectRgn(4, 3, 50, 30), hole = CreateRectRgn(11, 9, 30, 20),
             left = CreateRectRgn(0, 0, 20, 40), all = CreateRectRgn(-9, -9, 99, 99);
    CombineRgn(ring, ring, hole, 4);
    const auto inRing = [&](int32_t x, int32_t y) { return PtInRegion(ring, x, y) != 0; };
    Canvas canvas(kSize);
    const PAINTCALLBACKS sink = canvas.sink();
    const Draw draws[] = {{{0, 0, 61, 40}, {0, 0, 61, 40}}, {{-7, 2, 60, 31}, {5, 2, 22, 33}}};
    uint32_t uSeed = 0;
    for (const Draw& draw : draws)
        for (const int32_t nBits : {24, 32}) {
            sink.pfnSaveState(nullptr, sink.pUserData);
            ASSERT_TRUE(sink.pfnSelectClipRgn(nullptr, ring, PAINTCLIP_AND, sink.pUserData));
            compare(canvas, {61, 40, nBits, ++uSeed}, draw, inRing);
            sink.pfnSaveState(nullptr, sink.pUserData);
            ASSERT_TRUE(sink.pfnSelectClipRgn(nullptr, left, PAINTCLIP_AND, sink.pUserData));
            sink.pfnIntersectClip(nullptr, 0, 4, 15, 40, sink.pUserData);
            compare(canvas, {61, 40, nBits, ++uSeed}, draw,
                    [&](int32_t x, int32_t y) { return inRing(x, y) && x < 15 && y >= 4; });
            ASSERT_TRUE(sink.pfnSelectClipRgn(nullptr, all, PAINTCLIP_COPY, sink.pUserData));
            compare(canvas, {61, 40, nBits, ++uSeed}, draw, [](int32_t, int32_t) { return true; });
            sink.pfnRestoreState(nullptr, -1, sink.pUserData);
            compare(canvas, {61, 40, nBits, ++uSeed}, draw, inRing);
            sink.pfnRestoreState(nullptr, -1, sink.pUserData);
            compare(canvas, {61, 40, nBits, ++uSeed}, draw, [](int32_t, int32_t) { return true; });
        }
    for (RVHANDLE h : {ring, hole, left, all}) DeleteObject(h);
}

TEST(RavoCanvas, ScrollsAndCopies) {
    Canvas canvas(kSize);
    for (const POINT d : {POINT{5, 3}, {-4, 7}, {3, -9}, {-60, 0}, {0, 39}, {70, 0}}) {
        std::mt19937 random(3);
        for (int32_t y = 0; y < kSize.height; ++y)
            for (int32_t x = 0; x < kSize.width; ++x) canvas.row(y)[x] = uint32_t(random()) | 0xFF000000;
        const std::vector<uint32_t> before = contentsOf(canvas);
        const RECT part{2, 1, 59, 38};
        canvas.scroll(part, d.x, d.y);
        Picture copy = canvas.picture();
        for (int32_t y = 0; y < kSize.height; ++y)
            for (int32_t x = 0; x < kSize.width; ++x) {
                const int32_t fx = x - d.x, fy = y - d.y;
                const auto inside = [&](int32_t px, int32_t py) { return px >= 2 && px < 59 && py >= 1 && py < 38; };
                const bool bMoves = inside(x, y) && inside(fx, fy);
                const uint32_t uWant = before[size_t(bMoves ? fy * kSize.width + fx : y * kSize.width + x)];
                ASSERT_EQ(canvas.row(y)[x], uWant) << x << "," << y << " by " << d.x << "," << d.y;
                if (y == 20) {
                    ASSERT_EQ(pixelAt(copy, x, y) | 0xFF000000, uWant);
                }
            }
    }
}

}  // namespace
}  // namespace ravo
