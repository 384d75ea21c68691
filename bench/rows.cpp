// Whole pictures through the public calls, for a table side by side with other libraries: one line a workload,
//
//   workload <TAB> "Ravokit" <TAB> Mpixel/s <TAB> GB/s
//
// Pictures are 4000 x 3000, pages 5000 x 7000, 16-bit grey 3000 x 3000, made by code. GB/s counts each byte that has to
// be read or written once. Times are the median of 7 to 15 repetitions; run it on one processor. An argument filters
// names.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/textpage.h"
#include "ravokit/ravokit.h"

namespace {

std::string_view g_filter;
int g_failures = 0;

double secondsOf(const std::function<void()>& op) {
    using Clock = std::chrono::steady_clock;
    const auto timed = [&](int calls) {
        const auto start = Clock::now();
        for (int i = 0; i < calls; ++i) op();
        return std::chrono::duration<double>(Clock::now() - start).count() / calls;
    };
    double one = timed(1);
    for (double spent = one; spent < 0.06; spent += one) one = timed(1);
    const int calls = one >= 0.004 ? 1 : int(0.004 / std::max(one, 1e-7)) + 1;
    std::vector<double> times;
    for (double total = 0; times.size() < 7 || (times.size() < 15 && total < 0.5); total += times.back() * calls)
        times.push_back(timed(calls));
    std::nth_element(times.begin(), times.begin() + int(times.size() / 2), times.end());
    return times[times.size() / 2];
}

// Runs op once, lets check judge the result, and only then measures.
void run(const char* name, double mpix, double megabytes, const std::function<void()>& op,
         const std::function<bool()>& check) {
    if (std::string_view(name).find(g_filter) == std::string_view::npos) return;
    op();
    if (!check()) {
        std::fprintf(stderr, "%s\tCHECK FAILED\n", name);
        ++g_failures;
        return;
    }
    const double seconds = secondsOf(op);
    std::printf("%s\tRavokit\t%.1f\t%.2f\n", name, mpix / seconds, megabytes * 1e-3 / seconds);
}

uint32_t mix(uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    return x ^ (x >> 16);
}

struct Bitmap : BITMAPRECORD {
    Bitmap(int32_t bits, int32_t width, int32_t height, int32_t order, const RGBQUAD* palette = nullptr) {
        if (R_CreateBitmap(this, sizeof(BITMAPRECORD), BMMEM_CONVENTIONAL, width, height, bits, order, palette,
                           TOP_LEFT, nullptr, 0) != 1) {
            std::fprintf(stderr, "no memory\n");
            std::exit(1);
        }
        R_AccessBitmap(this);
    }
    Bitmap(const Bitmap&) = delete;
    ~Bitmap() {
        R_ReleaseBitmap(this);
        R_FreeBitmap(this);
    }
    uint8_t* row(int32_t y) const { return pData + size_t(y) * BytesPerLine; }
};

constexpr int32_t kWidth = 4000, kHeight = 3000, kPageWidth = 5000, kPageHeight = 7000, kGray = 3000;

// Smooth light and colour with sensor noise, blue, green, red.
void paintPhoto(Bitmap& bm) {
    for (int32_t y = 0; y < bm.Height; ++y)
        for (int32_t x = 0; x < bm.Width; ++x) {
            const uint32_t n = mix(uint32_t(y * bm.Width + x));
            const int light = 40 + (x * 90 / bm.Width) + (y * 90 / bm.Height);
            uint8_t* p = bm.row(y) + x * 3;
            p[0] = uint8_t(light + int(n % 9) - 4);
            p[1] = uint8_t(light + 10 + int(n / 9 % 9) - 4);
            p[2] = uint8_t(light + 20 + int(n / 81 % 9) - 4);
        }
}

uint8_t grayOf(const uint8_t* p) { return uint8_t((p[0] + 5 * p[1] + 2 * (p[2] + 2)) >> 3); }

// Converts every row of one picture into the other.
void convert(const Bitmap& src, Bitmap& dst, int32_t dstBits, int32_t srcOrder, int32_t dstOrder) {
    for (int32_t y = 0; y < src.Height; ++y)
        R_ConvertRow(dst.row(y), src.row(y), src.Width, src.BitsPerPixel, dstBits, srcOrder, dstOrder, src.pPalette,
                     nullptr);
}

// True if test holds for scattered pixels.
bool sampled(int32_t width, int32_t height, const std::function<bool(int32_t, int32_t)>& test) {
    for (uint32_t i = 0; i < 4096; ++i)
        if (!test(int32_t(mix(2 * i) % uint32_t(width)), int32_t(mix(2 * i + 1) % uint32_t(height)))) return false;
    return true;
}

void conversions(const Bitmap& photo) {
    const auto at = [&](int32_t x, int32_t y) { return photo.row(y) + x * 3; };
    Bitmap bgra(32, kWidth, kHeight, ORDER_BGR), out24(24, kWidth, kHeight, ORDER_BGR),
        out8(8, kWidth, kHeight, ORDER_RGB);
    run(
        "convert.bgr24_bgra32", 12, 84, [&] { convert(photo, bgra, 32, ORDER_BGR, ORDER_BGR); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                const uint8_t* p = bgra.row(y) + x * 4;
                return !std::memcmp(p, at(x, y), 3) && p[3] == 255;
            });
        });
    convert(photo, bgra, 32, ORDER_BGR, ORDER_BGR);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) bgra.row(y)[x * 4 + 3] = uint8_t(mix(uint32_t((y * kWidth + x) >> 4)));
    run(
        "convert.bgra32_bgr24", 12, 84, [&] { convert(bgra, out24, 24, ORDER_BGR, ORDER_BGR); },
        [&] {
            return sampled(kWidth, kHeight,
                           [&](int32_t x, int32_t y) { return !std::memcmp(out24.row(y) + x * 3, at(x, y), 3); });
        });
    run(
        "convert.bgr24_rgb24", 12, 72, [&] { convert(photo, out24, 24, ORDER_BGR, ORDER_RGB); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                return out24.row(y)[x * 3] == at(x, y)[2] && out24.row(y)[x * 3 + 1] == at(x, y)[1];
            });
        });
    run(
        "convert.bgr24_gray8", 12, 48, [&] { convert(photo, out8, 0, ORDER_BGR, ORDER_RGB); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) { return out8.row(y)[x] == grayOf(at(x, y)); });
        });
    {
        RGBQUAD palette[256];
        for (uint32_t i = 0; i < 256; ++i)
            palette[i] = {uint8_t(mix(i)), uint8_t(mix(i) >> 8), uint8_t(mix(i) >> 16), 0};
        Bitmap indexed(8, kWidth, kHeight, ORDER_RGB, palette);
        convert(photo, indexed, 0, ORDER_BGR, ORDER_RGB);
        run(
            "convert.pal8_bgr24", 12, 48, [&] { convert(indexed, out24, 24, ORDER_RGB, ORDER_BGR); },
            [&] {
                return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                    return !std::memcmp(out24.row(y) + x * 3, &palette[indexed.row(y)[x]], 3);
                });
            });
    }
    {
        Bitmap wide(48, kWidth, kHeight, ORDER_BGR);
        convert(photo, wide, 48, ORDER_BGR, ORDER_BGR);
        run(
            "convert.bgr48_bgr24", 12, 108, [&] { convert(wide, out24, 24, ORDER_BGR, ORDER_BGR); },
            [&] {
                return sampled(kWidth, kHeight,
                               [&](int32_t x, int32_t y) { return !std::memcmp(out24.row(y) + x * 3, at(x, y), 3); });
            });
    }
    {
        Bitmap packed(16, kWidth, kHeight, ORDER_BGR565);
        convert(photo, packed, 16, ORDER_BGR, ORDER_BGR565);
        run(
            "convert.bgr565_bgr24", 12, 60, [&] { convert(packed, out24, 24, ORDER_BGR565, ORDER_BGR); },
            [&] {
                return sampled(kWidth, kHeight,
                               [&](int32_t x, int32_t y) { return std::abs(out24.row(y)[x * 3] - at(x, y)[0]) < 8; });
            });
    }
    Bitmap premultiplied(32, kWidth, kHeight, ORDER_BGR);
    run(
        "convert.bgra32_premultiply", 12, 96,
        [&] {
            for (int32_t y = 0; y < kHeight; ++y) {
                R_GetBitmapRow(&bgra, premultiplied.row(y), y, bgra.BytesPerLine);
                R_ConvertToPremultipliedAlpha(32, premultiplied.row(y), bgra.BytesPerLine);
            }
        },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                const uint8_t *p = premultiplied.row(y) + x * 4, *q = bgra.row(y) + x * 4;
                return p[0] == q[0] * q[3] / 255 && p[2] == q[2] * q[3] / 255 && p[3] == q[3];
            });
        });
}

void pagesAndGray() {
    Bitmap page(1, kPageWidth, kPageHeight, ORDER_RGB), gray(8, kPageWidth, kPageHeight, ORDER_RGB);
    for (int32_t y = 0; y < kPageHeight; ++y)
        for (uint32_t i = 0; i < page.BytesPerLine; ++i)
            page.row(y)[i] = mix(i / 3 + uint32_t(y) / 40 * 977) % 3 ? 0 : uint8_t(mix(i));
    const auto bit = [&](int32_t x, int32_t y) { return page.row(y)[x >> 3] >> (7 - (x & 7)) & 1; };
    run(
        "convert.bit1_gray8", 35, 39.375, [&] { convert(page, gray, 0, ORDER_RGB, ORDER_RGB); },
        [&] {
            return sampled(kPageWidth, kPageHeight,
                           [&](int32_t x, int32_t y) { return gray.row(y)[x] == 255 * bit(x, y); });
        });
    BITMAPRECORD cut{};
    run(
        "copy.rect_1_odd_phase", 24, 6,
        [&] {
            R_FreeBitmap(&cut);
            R_CopyBitmapRect(&cut, &page, sizeof cut, 413, 300, 4000, 6000);
        },
        [&] {
            return sampled(4000, 6000, [&](int32_t x, int32_t y) {
                return (cut.pData[size_t(y) * cut.BytesPerLine + size_t(x >> 3)] >> (7 - (x & 7)) & 1) ==
                       bit(x + 413, y + 300);
            });
        });
    R_FreeBitmap(&cut);

    Bitmap deep(16, kGray, kGray, ORDER_GRAY), flat(8, kGray, kGray, ORDER_RGB);
    for (int32_t y = 0; y < kGray; ++y)
        for (int32_t x = 0; x < kGray; ++x) {
            const auto v = uint16_t((1000 + (x + y) / 3) * 16 + int(mix(uint32_t(y * kGray + x)) % 256));
            std::memcpy(deep.row(y) + x * 2, &v, 2);
        }
    run(
        "convert.gray16_gray8", 9, 27, [&] { convert(deep, flat, 0, ORDER_GRAY, ORDER_RGB); },
        [&] {
            return sampled(kGray, kGray,
                           [&](int32_t x, int32_t y) { return flat.row(y)[x] == deep.row(y)[x * 2 + 1]; });
        });
}

// The whole picture through a state of its own; the check compares the means of blocks.
void dither(Bitmap& photo, const char* name, int32_t method, const RGBQUAD* palette, uint32_t colors) {
    const int32_t bits = colors == 2 ? 1 : 8;
    Bitmap out(bits, kWidth, kHeight, ORDER_RGB);
    const RGBQUAD* table = palette ? palette : R_IntGetFixedPalette(bits);
    run(
        name, 12, bits == 1 ? 37.5 : 48,
        [&] {
            photo.DitheringMethod = method;
            R_StartDithering(&photo, palette, colors);
            for (int32_t y = 0; y < kHeight; ++y) R_DitherLine(&photo, photo.row(y), out.row(y));
            R_StopDithering(&photo);
        },
        [&] {
            return sampled(kWidth / 32, kHeight / 32, [&](int32_t bx, int32_t by) {
                int difference = 0;
                for (int32_t y = by * 32; y < by * 32 + 32; ++y)
                    for (int32_t x = bx * 32; x < bx * 32 + 32; ++x) {
                        const int i = bits == 1 ? out.row(y)[x >> 3] >> (7 - (x & 7)) & 1 : out.row(y)[x];
                        difference += grayOf(&table[i].rgbBlue) - grayOf(photo.row(y) + x * 3);
                    }
                return std::abs(difference) < 12 * 1024;
            });
        });
}

void dithers(Bitmap& photo) {
    RGBQUAD palette[256];
    for (uint32_t i = 0; i < 256; ++i) {
        const uint32_t n = mix(i + 77);
        palette[i] = {uint8_t(n), uint8_t(n >> 8), uint8_t(n >> 16), 0};
    }
    dither(photo, "dither.floyd_24_to_1", DITHER_FLOYD, nullptr, 2);
    dither(photo, "dither.floyd_24_to_pal256", DITHER_FLOYD, palette, 256);
    dither(photo, "dither.ordered_24_to_1", DITHER_ORDERED, nullptr, 2);
}

// A page to run lists and back.
void runLists() {
    const std::vector<uint8_t> page = textpage::make();
    std::vector<uint8_t> back(page.size());
    std::vector<uint16_t> records(size_t(kPageWidth + 3) * kPageHeight);
    const auto compress = [&] { R_CompressRows(records.data(), page.data(), kPageWidth, kPageHeight); };
    const auto expand = [&] { R_ExpandRows(records.data(), back.data(), kPageWidth, kPageHeight); };
    const auto same = [&] {
        expand();
        return back == page;
    };
    run("rle.compress_1", 35, 4.375, compress, same);
    run("rle.expand_1", 35, 4.375, expand, same);
}

// The best 256 colours for a photo: with the rows mapped to them, and the palette alone.
void quantize(Bitmap& photo) {
    BITMAPRECORD out{};
    const auto near = [&](int32_t x, int32_t y) {
        const RGBQUAD& q = out.pPalette[out.pData[size_t(y) * out.BytesPerLine + size_t(x)]];
        const uint8_t* p = photo.row(y) + x * 3;
        return std::abs(q.rgbBlue - p[0]) + std::abs(q.rgbGreen - p[1]) + std::abs(q.rgbRed - p[2]) < 64;
    };
    run(
        "quantize.palette256_24", 12, 48,
        [&] {
            R_FreeBitmap(&out);
            R_ColorResBitmap(&photo, &out, sizeof out, 8, CRF_OPTIMIZEDPALETTE, nullptr, nullptr, 0, nullptr, nullptr);
        },
        [&] { return out.pData && sampled(kWidth, kHeight, near); });
    R_FreeBitmap(&out);
    RGBQUAD palette[256];
    uint32_t colors = 0;
    int32_t cut = 0;
    run(
        "quantize.palette256_24_only", 12, 36,
        [&] {
            colors = 256;
            R_CreateBitmapOptPal(&photo, palette, &colors, 256, nullptr, 0, nullptr, &cut, 0);
        },
        [&] { return colors == 256 && cut == 1; });
}

void rectangles(Bitmap& photo) {
    Bitmap canvas(24, kWidth, kHeight, ORDER_BGR);
    // A bitmap of the caller's data over a part of the canvas.
    BITMAPRECORD part;
    R_CreateBitmap(&part, sizeof part, BMMEM_USER, 3974, 2978, 24, ORDER_BGR, nullptr, TOP_LEFT,
                   canvas.row(11) + 13 * 3, 0);
    part.BytesPerLine = canvas.BytesPerLine;
    run(
        "fill.rect_24", 11.835172, 35.505516, [&] { R_FillBitmap(&part, 0x0A141E); },
        [&] {
            return canvas.row(11)[39] == 0x0A && canvas.row(2988)[3986 * 3 + 2] == 0x1E && canvas.row(11)[38] == 0 &&
                   canvas.row(10)[50] == 0;
        });
    R_FreeBitmap(&part);
    run(
        "copy.rect_24", 6, 36,
        [&] {
            for (int32_t y = 0; y < 2000; ++y)
                R_GetBitmapRowCol(&photo, canvas.row(57 + y) + 101 * 3, 13 + y, 17, 9000);
        },
        [&] {
            return sampled(3000, 2000, [&](int32_t x, int32_t y) {
                return !std::memcmp(canvas.row(y + 57) + (x + 101) * 3, photo.row(y + 13) + (x + 17) * 3, 3);
            });
        });
}

// Hue, saturation, value, and the samples of video.
void colorModels(Bitmap& photo) {
    Bitmap out(24, kWidth, kHeight, ORDER_BGR);
    run(
        "hsv.bgr24_to_hsv", 12, 72,
        [&] {
            for (int32_t y = 0; y < kHeight; ++y)
                R_ConvertColorSpace(photo.row(y), out.row(y), kWidth, COLORSPACE_BGR, COLORSPACE_HSV);
        },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                const uint8_t *p = photo.row(y) + x * 3, *q = out.row(y) + x * 3;
                const int most = std::max({p[0], p[1], p[2]}), least = std::min({p[0], p[1], p[2]});
                return q[2] == most && q[1] == (most - least) * 255 / most;
            });
        });

    std::vector<uint8_t> samples(size_t(kWidth) * kHeight * 2);
    uint32_t planar = kWidth * kHeight / 2 * 3, packed = kWidth * kHeight * 2;
    // Luma within its rounding; the photograph's chroma changes little from pixel to pixel.
    const auto isPhoto = [&] {
        return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
            const uint8_t *p = photo.row(y) + x * 3, *q = out.row(y) + x * 3;
            return std::abs(p[0] - q[0]) < 24 && std::abs(p[1] - q[1]) < 24 && std::abs(p[2] - q[2]) < 24;
        });
    };
    run(
        "yuv.bgr24_to_i420", 12, 54, [&] { R_GetBitmapYUVData(&photo, samples.data(), &planar, YUV_PLANAR_420); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                const uint8_t* p = photo.row(y) + x * 3;
                return std::abs(samples[size_t(y) * kWidth + size_t(x)] -
                                (16 + (66 * p[2] + 129 * p[1] + 25 * p[0]) / 256)) < 3;
            });
        });
    R_GetBitmapYUVData(&photo, samples.data(), &planar, YUV_PLANAR_420);
    run(
        "yuv.i420_to_bgr24", 12, 54, [&] { R_SetBitmapYUVData(&out, samples.data(), planar, YUV_PLANAR_420); },
        isPhoto);
    R_GetBitmapYUVData(&photo, samples.data(), &packed, YUV_YUY2);
    run(
        "yuv.yuy2_to_bgr24", 12, 60, [&] { R_SetBitmapYUVData(&out, samples.data(), packed, YUV_YUY2); }, isPhoto);
}

// Whole pictures: a record of the caller's data takes the photo's place, so that every run starts from colour.
void colorAndGray(Bitmap& photo) {
    BITMAPRECORD gray{};
    run(
        "gray.bitmap_24", 12, 48,
        [&] {
            R_FreeBitmap(&gray);
            R_CreateBitmap(&gray, sizeof gray, BMMEM_USER, kWidth, kHeight, 24, ORDER_BGR, nullptr, TOP_LEFT,
                           photo.pData, photo.Size);
            R_GrayScaleBitmap(&gray, 8);
        },
        [&] {
            return gray.BitsPerPixel == 8 && sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                       return gray.pData[size_t(y) * gray.BytesPerLine + size_t(x)] == grayOf(photo.row(y) + x * 3);
                   });
        });
    R_FreeBitmap(&gray);
    uint32_t nColors = 0;
    run(
        "colorcount.24", 12, 36, [&] { R_GetBitmapColorCountExt(&photo, &nColors, nullptr); },
        [&] {
            std::vector<bool> seen(1 << 24);
            for (int32_t y = 0; y < kHeight; ++y)
                for (const uint8_t* p = photo.row(y); p < photo.row(y) + kWidth * 3; p += 3)
                    seen[p[0] | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16] = true;
            return nColors == uint32_t(std::count(seen.begin(), seen.end(), true));
        });
}

#include "bench/rows_contours.h"
#include "bench/rows_region.h"
#include "bench/rows_colorrgn.h"
#include "bench/rows_bitmaprgn.h"
#include "bench/rows_resize.h"
#include "bench/rows_view.h"
#include "bench/rows_turns.h"
#include "bench/rows_rotate.h"
#include "bench/rows_combine.h"
#include "bench/rows_resample.h"
#include "bench/rows_pull.h"
#include "bench/rows_paint.h"
#include "bench/rows_paintbitonal.h"
#include "bench/rows_underlay.h"

}  // namespace

int main(int argc, char** argv) {
    // Freed memory stays with the process: a program at work meets its page faults only once.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, 2047 << 20);
    if (argc > 1) g_filter = argv[1];
    Bitmap photo(24, kWidth, kHeight, ORDER_BGR);
    paintPhoto(photo);
    conversions(photo);
    dithers(photo);
    quantize(photo);
    pagesAndGray();
    runLists();
    colorAndGray(photo);
    rectangles(photo);
    colorModels(photo);
    regions();
    colorRegions();
    bitmapRegions();
    shapes();
    resizes(photo);
    flips(photo);
    turns(photo);
    rotations(photo);
    combines(photo);
    resamples(photo);
    pulledRows(photo);
    paints(photo);
    bitonalPaints();
    underlays(photo);
    return g_failures ? 1 : 0;
}
