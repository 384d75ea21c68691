// Sizes by filters against a model that walks step by step as the filters are told: in wide integers, remainders
// carried from sample to sample, one row after the other.
#include "ravokit/resample.h"

#include <gtest/gtest.h>

#include <cmath>

#include "internal/resample_.h"
#include "ravokit/resize.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"

namespace {

using namespace rv;
using test::Bitmap;
using test::Bytes;
using Samples = std::vector<int64_t>;

// ---- the model ---------------------------------------------------------------------------------------------------

struct Model {
    SampleType type;
    int c;  // samples a pixel
    bool bAlpha = false;
    int64_t W = kFineWeights;

    int64_t low() const { return type == SampleType::s16 ? -32768 : 0; }
    int64_t high() const {
        return type == SampleType::u8    ? 255
               : type == SampleType::u16 ? 65535
               : type == SampleType::s16 ? 32767
                                         : UINT32_MAX;
    }
    int64_t round(float y) const {
        const double d = double(y) + 0.49999;
        return d < double(low()) ? low() : d > double(high()) ? high() : int64_t(d);
    }

    // Lines of samples (columns of a row, or rows of a picture) with weights, as one line.
    struct Part {
        const int64_t* p;
        int64_t w;
    };
    Samples mean(const std::vector<Part>& parts, size_t n) const {
        Samples out(n);
        for (size_t i = 0; i < n; ++i) {
            const bool bColor = bAlpha && c == 4 && i % 4 != 3;
            int64_t sum = 0, weight = 0;
            for (const Part& part : parts) {
                int64_t w = part.w;
                if (bColor)
                    w = type == SampleType::u8 ? (part.p[i / 4 * 4 + 3] + 1) * w >> 8 : (part.p[i / 4 * 4 + 3] + 1) * w;
                sum += w * part.p[i], weight += w;
            }
            out[i] = weight ? std::clamp(sum / weight, low(), high()) : 0;
        }
        return out;
    }

    // line(i) is pixel i of a row, or row i of a picture, of n samples.
    template <class Line>
    std::vector<Samples> area(Line line, size_t n, int64_t nSrc, int64_t nDst, bool bRounded, int64_t nAcc = 0,
                              int64_t nFirst = 0, int64_t nCount = -1) const {
        std::vector<Samples> out;
        const int64_t step = (W * nSrc + (bRounded ? nDst / 2 : 0)) / nDst;
        int64_t w0 = W * (nDst - nAcc) / nDst, nEnd = nFirst + nSrc / nDst, rest = nSrc % nDst + nAcc;
        if (rest >= nDst) ++nEnd, rest -= nDst;
        int64_t w1 = W * rest / nDst;
        for (int64_t k = 0; k < (nCount < 0 ? nDst : nCount); ++k) {
            std::vector<Part> parts{{line(std::min(nFirst, nSrc - 1)), w0}};
            for (int64_t i = nFirst + 1; i < nEnd; ++i) parts.push_back({line(i), W});
            if (nEnd < nSrc && w1 > 0) parts.push_back({line(nEnd), w1});
            out.push_back(mean(parts, n));
            w0 = W - w1, nFirst = nEnd;
            nEnd += step / W, w1 += step % W;
            if (w1 >= W) ++nEnd, w1 -= W;
            nEnd = std::min(nEnd, nSrc);
        }
        return out;
    }

    template <class Line>
    std::vector<Samples> linear(Line line, size_t n, int64_t nSrc, int64_t nDst) const {
        std::vector<Samples> out;
        int64_t acc = 0;
        for (int64_t s = 0; int64_t(out.size()) < nDst; ++s) {
            int64_t run = nDst / nSrc;
            if ((acc += nDst % nSrc) >= nSrc) acc -= nSrc, ++run;
            const int64_t *const a = line(std::min(s, nSrc - 1)), *const b = line(std::min(s + 1, nSrc - 1));
            Samples now(a, a + n), d(n), r(n), carry(n);
            for (size_t i = 0; i < n; ++i) {
                d[i] = int64_t(std::floor(double(b[i] - a[i]) / double(run)));
                r[i] = b[i] - a[i] - d[i] * run;
            }
            if (s == 0) out.insert(out.end(), size_t(run / 2), now);
            for (int64_t k = 0; k < run; ++k) {
                out.push_back(now);
                for (size_t i = 0; i < n; ++i) {
                    now[i] += d[i];
                    if ((carry[i] += r[i]) >= run) carry[i] -= run, ++now[i];
                }
            }
        }
        out.resize(size_t(nDst));
        return out;
    }

    Samples splineRow(const Samples& p, int64_t nSrc, int64_t nDst) const {
        const int64_t n = nSrc;
        std::vector<float> m(size_t(n * c)), u(size_t(n * c));
        if (n >= 3) {
            for (int64_t i = c; i < (n - 1) * c; ++i) {
                const int64_t d = 6 * (p[size_t(i + c)] - 2 * p[size_t(i)] + p[size_t(i - c)]);
                if (d == 0) continue;
                const float sig = -1 / (m[size_t(i - c)] + 4);
                m[size_t(i)] = sig;
                u[size_t(i)] = (u[size_t(i - c)] - float(d)) * sig;
            }
            for (int64_t i = (n - 2) * c; i < (n - 1) * c; ++i) m[size_t(i)] = u[size_t(i)];
            for (int64_t i = (n - 3) * c; i >= c + 1; --i)
                m[size_t(i)] = u[size_t(i)] + m[size_t(i)] * m[size_t(i + c)];
        }
        const float scale = float(nSrc) / float(nDst);
        float t = 0;
        Samples out;
        int64_t copies = int64_t(0.5 / (double(nSrc) / double(nDst)));
        for (int64_t s = 0; int64_t(out.size()) < nDst * c;) {
            for (int k = 0; k < c; ++k) {
                const size_t a = size_t(std::min(s, n - 1) * c + k),
                             b = std::min(a + size_t(c), p.size() - size_t(c - k));
                const float v = 1 - t;
                const float y =
                    v * float(p[a]) + t * float(p[b]) + ((v * v * v - v) / 6) * m[a] + ((t * t * t - t) / 6) * m[b];
                out.push_back(t > 0 && s < n - 1 ? round(y) : p[a]);
            }
            if (copies-- > 0) continue;
            t += scale;
            if (t >= 1) t -= 1, ++s;
        }
        return out;
    }

    Samples row(const Samples& p, int64_t nSrc, int64_t nDst, bool bSpline) const {
        const auto pixel = [&](int64_t i) { return &p[size_t(i * c)]; };
        if (nDst >= nSrc && bSpline) return splineRow(p, nSrc, nDst);
        const auto pixels =
            nDst < nSrc ? area(pixel, size_t(c), nSrc, nDst, true) : linear(pixel, size_t(c), nSrc, nDst);
        Samples out;
        for (const Samples& q : pixels) out.insert(out.end(), q.begin(), q.end());
        return out;
    }

    std::vector<Samples> picture(const std::vector<Samples>& rows, int64_t nSrcW, int64_t nDstW, int64_t nDstH,
                                 bool bSpline) const {
        std::vector<Samples> wide, out;
        for (const Samples& r : rows) wide.push_back(row(r, nSrcW, nDstW, bSpline));
        const int64_t nSrcH = int64_t(rows.size());
        const auto line = [&](int64_t i) { return wide[size_t(std::clamp<int64_t>(i, 0, nSrcH - 1))].data(); };
        const size_t n = size_t(nDstW * c);
        if (nDstH < nSrcH) return area(line, n, nSrcH, nDstH, bSpline);
        if (!bSpline) return linear(line, n, nSrcH, nDstH);
        const float scale = float(nSrcH) / float(nDstH);
        float t = 0;
        for (int64_t s = 0; int64_t(out.size()) < nDstH; t += scale, s += t >= 1, t -= t >= 1 ? 1.0f : 0.0f) {
            out.emplace_back(line(s), line(s) + n);
            if (!(t > 0)) continue;
            const float v = 1 - t;
            for (size_t i = 0; i < n; ++i) {
                const float p0 = float(line(s - 1)[i]), p1 = float(line(s)[i]), p2 = float(line(s + 1)[i]),
                            p3 = float(line(s + 2)[i]);
                const float e = 1.5f * (p0 - 2 * p1 + p2), m2 = (6 * (p1 - 2 * p2 + p3) - e) * 0.266667f,
                            m1 = e - 0.25f * m2;
                out.back()[i] = round(v * p1 + t * p2 + ((v * v * v - v) / 6) * m1 + ((t * t * t - t) / 6) * m2);
            }
        }
        return out;
    }
};

template <class T>
Samples loadAs(const uint8_t* p, size_t n) {
    std::vector<T> v(n);
    std::memcpy(v.data(), p, n * sizeof(T));
    return {v.begin(), v.end()};
}
Samples load(SampleType type, const uint8_t* p, size_t n) {
    return type == SampleType::u8    ? loadAs<uint8_t>(p, n)
           : type == SampleType::u16 ? loadAs<uint16_t>(p, n)
           : type == SampleType::s16 ? loadAs<int16_t>(p, n)
                                     : loadAs<uint32_t>(p, n);
}

constexpr SampleType kTypes[] = {SampleType::u8, SampleType::u16, SampleType::s16, SampleType::u32};

// Random samples with flat stretches and full ones, where sweeps start anew and splines overshoot.
Bytes photoBytes(size_t n, uint32_t seed) {
    Bytes p = test::randomBytes(n, seed);
    for (size_t i = 0; i < n; ++i)
        if (const size_t k = i / 48 % 5; k > 2) p[i] = k == 3 ? uint8_t(i / 16 % 2 * 255) : 77;
    return p;
}

// ---- filters -----------------------------------------------------------------------------------------------------

TEST(RowFilter, EveryRowIsTheModels) {
    const std::pair<int, int> sizes[] = {{1, 7},    {2, 9},   {4, 5},     {5, 12},    {64, 64},  {97, 131},
                                         {40, 800}, {90, 91}, {61, 7930}, {131, 97},  {91, 90},  {128, 32},
                                         {129, 64}, {300, 7}, {2000, 3},  {200, 150}, {517, 133}};
    for (const SampleType type : kTypes)
        for (const int c : {1, 3, 4})
            for (const auto& [nSrc, nDst] : sizes)
                for (const bool bSpline : {false, true})
                    for (const bool bAlpha : {false, true})
                        for (const int64_t W : {kFineWeights, kCoarseWeights}) {
                            if ((bAlpha && c != 4) || (type == SampleType::u32 && c != 1)) continue;
                            const Model model{type, c, bAlpha, W};
                            const Bytes src = photoBytes(size_t(nSrc * c) * bytesOf(type), uint32_t(nSrc + nDst + c));
                            const size_t nBytes = size_t(nDst * c) * bytesOf(type);
                            const Samples want =
                                model.row(load(type, src.data(), size_t(nSrc * c)), nSrc, nDst, bSpline);
                            for (const FilterLoops loops : {FilterLoops::best, FilterLoops::plain}) {
                                const FilterKind kind = nDst < nSrc ? FilterKind::area
                                                        : bSpline   ? FilterKind::spline
                                                                    : FilterKind::linear;
                                RowFilter filter;
                                ASSERT_EQ(filter.prepare(kind, {type, c}, uint32_t(W), bAlpha,
                                                         wholeRowWindow(nSrc, nDst), loops),
                                          1);
                                Bytes got(nBytes + 32, 0xA5);
                                filter.apply(src.data(), got.data());
                                ASSERT_EQ(load(type, got.data(), size_t(nDst * c)), want)
                                    << int(type) << " " << c << " " << nSrc << ">" << nDst << " spline " << bSpline
                                    << " alpha " << bAlpha << " loops " << int(loops);
                                ASSERT_EQ(Bytes(got.begin() + ptrdiff_t(nBytes), got.end()), Bytes(32, 0xA5));
                            }
                        }
}

// Stretches of a row as rows on demand ask for them. Straight lines are those of the whole row, splines nearly; an area
// starts with the weight that its position leaves.
TEST(RowFilter, WindowsAreStretchesOfTheRow) {
    for (const auto& [nSrc, nDst] : {std::pair{50, 170}, {40, 400}, {171, 350}, {64, 64}, {350, 171}, {400, 50}}) {
        const int c = 3;
        const Model model{SampleType::u8, c};
        const Bytes src = test::randomBytes(size_t(nSrc * c), 5);
        const Samples row = load(SampleType::u8, src.data(), src.size());
        for (const bool bSpline : {false, true})
            for (int nCol = 0; nCol < nDst; nCol += 7) {
                const int nOut = std::min(nDst - nCol, 41), nCentred = nDst / nSrc / 2;
                const auto column = [&](int64_t x) { return int(x * nSrc / nDst); };
                const auto past = [&](int64_t x) { return int((x * nSrc + nDst - 1) / nDst); };
                RowWindow w{nSrc, nDst, 0, 0, 0, 0, nCol, nOut};
                int nSkip = 0, nOff = 0;
                FilterKind kind = FilterKind::area;
                Samples want;
                if (nDst < nSrc) {
                    w.nFetchCol = w.nFirstSrcCol = column(nCol);
                    w.nEndSrcCol = std::min(nSrc, past(nCol + nOut));
                    w.nAcc = int(int64_t(nCol) * nSrc % nDst);
                    Samples cut = row;
                    cut.resize(size_t(w.nEndSrcCol * c));
                    Model m = model;
                    const auto pixels = m.area([&](int64_t i) { return &cut[size_t(i * c)]; }, c, nSrc, nDst, true,
                                               w.nAcc, w.nFirstSrcCol, 1);
                    want = pixels[0];
                } else if (!bSpline) {
                    kind = FilterKind::linear;
                    const int nFirst = std::max(0, nCol - nCentred);
                    w.nFetchCol = w.nFirstSrcCol = int((int64_t(nFirst + 1) * nSrc - 1) / nDst);
                    w.nAcc = int(int64_t(w.nFirstSrcCol) * (nDst % nSrc) % nSrc);
                    nSkip = w.nFirstSrcCol ? nFirst - int(int64_t(w.nFirstSrcCol) * nDst / nSrc) : nCol;
                    w.nEndSrcCol = std::min(nSrc, past(nOut + (w.nFirstSrcCol ? nFirst : nCol)) + 1);
                    w.nCount = nOut + nSkip;
                } else {
                    kind = FilterKind::spline;
                    const double scale = double(nSrc) / nDst;
                    w.nFirstOutCol = std::max(0, nCol - int(0.5 / scale));
                    w.nFirstSrcCol = int(w.nFirstOutCol * scale);
                    w.nFetchCol = std::max(0, w.nFirstSrcCol - 5);
                    nSkip = w.nFirstSrcCol ? 0 : nCol - w.nFirstOutCol;
                    w.nEndSrcCol = std::min(nSrc, past(nOut + nCol) + 6);
                    w.nCount = nOut + nSkip;
                    nOff = w.nFetchCol || w.nEndSrcCol < nSrc ? 3 : 0;
                }
                if (want.empty()) {
                    const Samples whole = model.row(row, nSrc, nDst, bSpline);
                    want.assign(whole.begin() + nCol * c, whole.begin() + (nCol + nOut) * c);
                }
                const Bytes part(src.begin() + w.nFetchCol * c, src.begin() + w.nEndSrcCol * c);  // no byte more
                Bytes got(size_t(w.nCount * c));
                RowFilter filter;
                ASSERT_EQ(filter.prepare(kind, {SampleType::u8, c}, kFineWeights, false, w), 1);
                filter.apply(part.data(), got.data());
                for (size_t i = 0; i < want.size(); ++i)
                    ASSERT_LE(std::abs(int64_t(got[size_t(nSkip * c) + i]) - want[i]), nOff)
                        << nSrc << ">" << nDst << " column " << nCol << " sample " << i << " spline " << bSpline;
            }
    }
}

TEST(RowFilter, RowsBetweenRows) {
    for (const size_t n : {1u, 31u, 97u})
        for (const uint32_t nRun : {1u, 2u, 3u, 7u, 64u, 126u, 127u, 128u, 300u})
            for (uint32_t k = 0; k < nRun; k += nRun / 9 + 1) {
                const Bytes a = photoBytes(n, k), b = photoBytes(n, nRun);
                Bytes got(n), plain(n);
                linearBetween(SampleType::u8, a.data(), b.data(), got.data(), n, k, nRun);
                linearBetween(SampleType::u8, a.data(), b.data(), plain.data(), n, k, nRun, FilterLoops::plain);
                ASSERT_EQ(got, plain) << n << " " << k << "/" << nRun;
                const float t = float(k) / float(nRun);
                splineBetween(SampleType::u8, b.data(), a.data(), b.data(), a.data(), got.data(), n, t);
                splineBetween(SampleType::u8, b.data(), a.data(), b.data(), a.data(), plain.data(), n, t,
                              FilterLoops::plain);
                ASSERT_EQ(got, plain) << n << " spline at " << t;
            }
    for (const SampleType type : kTypes) {  // sums that pass 32 bits, and signed ones
        const uint32_t nRows = 70000;
        const Bytes row = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x80, 0x01, 0x80};
        Bytes got(8);
        RowSums sums;
        ASSERT_EQ(sums.prepare(type, 8 / bytesOf(type), nRows), 1);
        for (uint32_t y = 0; y < nRows; ++y) sums.add(row.data());
        sums.mean(got.data(), nRows);
        EXPECT_EQ(got, row) << int(type);
    }
}

// Two areas of two million columns and a half, whose bright samples pass 64 bits; the dark one of each counts as well.
template <class T>
void expectLongAreas(SampleType type, int c, const std::vector<T>& dark, const std::vector<T>& want) {
    constexpr int32_t kHalf = 1 << 21;
    const int32_t nWidth = 2 * kHalf + 1;  // no even boxes
    std::vector<T> row(size_t(nWidth * c), std::numeric_limits<T>::max()), got(size_t(2 * c));
    for (const int32_t x : {5, nWidth - 5}) std::copy(dark.begin(), dark.end(), row.begin() + x * c);
    RowFilter filter;
    ASSERT_EQ(filter.prepare(FilterKind::area, {type, c}, kFineWeights, c == 4, wholeRowWindow(nWidth, 2)), 1);
    filter.apply(row.data(), got.data());
    EXPECT_EQ(got, want);

    // The same as rows of one pixel: half a column counts for half a row.
    RowSums sums;
    const uint64_t nAll = (uint64_t(kHalf) * 2 + 1) * (kFineWeights / 2), nBright = nAll - kFineWeights;
    ASSERT_EQ(sums.prepare(type, size_t(c), nAll, c == 4), 1);
    for (uint64_t n = 0; n < nBright;) {
        const auto w = uint32_t(std::min<uint64_t>(nBright - n, 1 << 26));
        sums.add(row.data(), w), n += w;
    }
    sums.add(dark.data(), kFineWeights);
    sums.mean(got.data(), nAll);
    got.resize(size_t(c));
    EXPECT_EQ(got, std::vector<T>(want.begin(), want.begin() + c));
}

TEST(RowFilter, AreasPastSixtyFourBits) {
    // 2^32 - 1 - (2^32 - 1) / (2^21 + 1/2), truncated; and with a dark pixel that hardly is one
    expectLongAreas<uint32_t>(SampleType::u32, 1, {0}, {0xFFFFF7FF, 0xFFFFF7FF});
    expectLongAreas<uint16_t>(SampleType::u16, 4, {0, 0, 0, 0},
                              {65534, 65534, 65534, 65534, 65534, 65534, 65534, 65534});
}

// ---- bitmaps -----------------------------------------------------------------------------------------------------

struct Size {
    int32_t nWidth, nHeight;
};
constexpr Size kSource = {37, 29}, kSizes[] = {{16, 12}, {74, 60}, {50, 11}, {20, 77}, {37, 90}, {12, 29}, {37, 29}};

using Call = int32_t (*)(BITMAPRECORD*, BITMAPRECORD*, uint32_t, uint32_t);
constexpr Call kCalls[] = {R_ResampleBitmapInt, R_BicubicResampleBitmapInt};

// Formats that are their own work format.
TEST(Resample, PicturesAreTheModels) {
    struct Format {
        int32_t nBits, nOrder;
        SampleType type;
        int c;
        uint32_t uSet;
    };
    const Format formats[] = {{24, ORDER_BGR, SampleType::u8, 3, 0},
                              {32, ORDER_BGR, SampleType::u8, 4, RSZ_ALPHA_WEIGHTED},
                              {8, ORDER_GRAY, SampleType::u8, 1, 0},
                              {16, ORDER_GRAY, SampleType::u16, 1, 0},
                              {16, ORDER_GRAY, SampleType::s16, 1, RSZ_RESAMPLE_COARSE},
                              {32, ORDER_GRAY, SampleType::u32, 1, 0},
                              {48, ORDER_BGR, SampleType::u16, 3, RSZ_RESAMPLE_COARSE},
                              {64, ORDER_BGR, SampleType::u16, 4, RSZ_ALPHA_WEIGHTED}};
    for (const Format& f : formats)
        for (const int32_t nBox : {0, 2, 3, 4})
            for (const Size to : kSizes)
                for (const bool bSpline : {false, true}) {
                    const Size from = nBox ? Size{to.nWidth * nBox, to.nHeight * 3} : kSource;
                    Bitmap src(f.nBits, from.nWidth, from.nHeight, test::Holding::conventional, f.nOrder),
                        dst(f.nBits, to.nWidth, to.nHeight, test::Holding::conventional, f.nOrder);
                    if (f.type == SampleType::s16) src->Flags |= BMF_SIGNED;
                    const Bytes data = photoBytes(size_t(src->BytesPerLine) * unsigned(from.nHeight), 3);
                    test::setContents(src.record, data);
                    ASSERT_EQ(kCalls[bSpline](&src, &dst, sizeof(BITMAPRECORD), f.uSet), 1);
                    // Grey is three samples for a spline along rows, and (b + 5 g + 2 (r + 2)) / 8 of them.
                    const bool bThree = f.nBits == 8 && bSpline && to.nWidth > from.nWidth;
                    Model model{f.type, bThree ? 3 : f.c, (f.uSet & RSZ_ALPHA_WEIGHTED) != 0};
                    if (!bSpline && (f.uSet & RSZ_RESAMPLE_COARSE)) model.W = kCoarseWeights;
                    std::vector<Samples> rows;
                    for (int32_t y = 0; y < from.nHeight; ++y) {
                        const Samples r = load(f.type, &data[size_t(y) * src->BytesPerLine], size_t(from.nWidth * f.c));
                        rows.emplace_back();
                        for (const int64_t v : r) rows.back().insert(rows.back().end(), bThree ? 3 : 1, v);
                    }
                    auto want = model.picture(rows, from.nWidth, to.nWidth, to.nHeight, bSpline);
                    const Bytes got = test::contents(dst.record);
                    for (int32_t y = 0; y < to.nHeight; ++y) {
                        Samples& r = want[size_t(y)];
                        for (size_t x = 0; bThree && x < size_t(to.nWidth); ++x)
                            r[x] = (r[3 * x] + 5 * r[3 * x + 1] + 2 * (r[3 * x + 2] + 2)) >> 3;
                        r.resize(size_t(to.nWidth * f.c));
                        ASSERT_EQ(load(f.type, &got[size_t(y) * dst->BytesPerLine], r.size()), r)
                            << f.nBits << " row " << y << " " << from.nWidth << "x" << from.nHeight << ">" << to.nWidth
                            << "x" << to.nHeight << " spline " << bSpline;
                    }
                }
}

// Other formats go by way of 24 or 32 bits, or of grey, and what is behind a holding makes no difference.
TEST(Resample, EveryDepthAndHolding) {
    for (const int32_t nBits : test::kDepths)
        for (const Size to : {kSizes[0], kSizes[1]})
            for (const Call call : kCalls) {
                Bitmap src(nBits, kSource.nWidth, kSource.nHeight), dst(nBits, to.nWidth, to.nHeight);
                const Bytes data = test::fillRandom(src.record, 11);
                ASSERT_EQ(call(&src, &dst, sizeof(BITMAPRECORD), 0), 1) << nBits;
                Bytes want = test::contents(dst.record);
                test::clearPadding(want, dst.record);
                for (const test::Holding h : test::holdingsOf(nBits)) {
                    if (h == test::Holding::super && nBits != 1) continue;              // strips change pixels
                    if ((to.nWidth < kSource.nWidth) != (call == kCalls[0])) continue;  // files take their time
                    Bitmap from(nBits, kSource.nWidth, kSource.nHeight, h), into(nBits, to.nWidth, to.nHeight, h);
                    ASSERT_EQ(from.nStatus, 1) << test::nameOf(h);
                    ASSERT_EQ(into.nStatus, 1) << test::nameOf(h);
                    test::setContents(from.record, data);
                    ASSERT_EQ(call(&from, &into, sizeof(BITMAPRECORD), 0), 1) << test::nameOf(h);
                    Bytes got = test::contents(into.record);
                    test::clearPadding(got, into.record);
                    EXPECT_EQ(got, want) << nBits << " " << test::nameOf(h);
                }
                if (nBits > 8 || test::defaultOrder(nBits) != ORDER_RGB) continue;
                // Palette depths: the picture at 24 bits, dithered to the palette.
                Bitmap wide(24, kSource.nWidth, kSource.nHeight), sized(24, to.nWidth, to.nHeight);
                for (int32_t y = 0; y < kSource.nHeight; ++y)
                    R_ConvertRow(wide->pData + size_t(y) * wide->BytesPerLine, &data[size_t(y) * src->BytesPerLine],
                                 kSource.nWidth, nBits, 24, ORDER_RGB, ORDER_BGR, src->pPalette, nullptr);
                ASSERT_EQ(call(&wide, &sized, sizeof(BITMAPRECORD), 0), 1);
                sized->DitheringMethod = DITHER_FLOYD;
                Bytes dithered(want.size());
                ASSERT_EQ(R_StartDitheringExt(&sized, dst->pPalette, dst->nColors, nBits, nullptr), 1);
                for (int32_t y = 0; y < to.nHeight; ++y)
                    R_DitherLine(&sized, sized->pData + size_t(y) * sized->BytesPerLine,
                                 &dithered[size_t(y) * dst->BytesPerLine]);
                R_StopDithering(&sized);
                EXPECT_EQ(want, dithered) << nBits;
            }
}

// Straight rows in the other order of bytes, and a spline that sees blue first in either.
TEST(Resample, OrdersAndViews) {
    for (const Call call : kCalls) {
        Bitmap rgb(24, 37, 29, test::Holding::conventional, ORDER_RGB), bgr(24, 37, 29);
        Bitmap rgbOut(24, 90, 70, test::Holding::conventional, ORDER_RGB), bgrOut(24, 90, 70), mixed(24, 90, 70);
        const Bytes data = test::fillRandom(rgb.record, 2);
        for (int32_t y = 0; y < 29; ++y)
            R_ConvertRow(bgr->pData + y * bgr->BytesPerLine, &data[size_t(y) * rgb->BytesPerLine], 37, 24, 24,
                         ORDER_RGB, ORDER_BGR, nullptr, nullptr);
        mixed->ViewPerspective = BOTTOM_LEFT;
        ASSERT_EQ(call(&rgb, &rgbOut, sizeof(BITMAPRECORD), 0), 1);
        ASSERT_EQ(call(&bgr, &bgrOut, sizeof(BITMAPRECORD), 0), 1);
        ASSERT_EQ(call(&rgb, &mixed, sizeof(BITMAPRECORD), 0), 1);
        const Bytes a = test::contents(rgbOut.record), b = test::contents(bgrOut.record),
                    m = test::contents(mixed.record);
        for (size_t y = 0; y < 70; ++y)
            for (size_t x = 0; x < 270; ++x) {
                const size_t nLine = bgrOut->BytesPerLine, i = y * nLine + x;
                ASSERT_EQ(b[i], a[y * nLine + x / 3 * 3 + 2 - x % 3]);
                ASSERT_EQ(b[i], m[(69 - y) * nLine + x]);
            }
    }
}

TEST(Resample, ByHand) {
    const auto row = [](int32_t nBits, Bytes from, int32_t nTo, uint32_t uFlags, Call call) {
        const size_t nPixel = size_t(nBits / 8);
        Bitmap src(nBits, int32_t(from.size() / nPixel), 1, test::Holding::conventional,
                   nBits == 8 ? ORDER_GRAY : ORDER_BGR),
            dst(nBits, nTo, 1, test::Holding::conventional, nBits == 8 ? ORDER_GRAY : ORDER_BGR);
        std::memcpy(src->pData, from.data(), from.size());
        EXPECT_EQ(call(&src, &dst, sizeof(BITMAPRECORD), uFlags), 1);
        return Bytes(dst->pData, dst->pData + size_t(nTo) * nPixel);
    };
    EXPECT_EQ(row(8, {1, 2, 250, 255}, 2, 0, R_ResampleBitmapInt), (Bytes{1, 252}));  // truncated pairs
    EXPECT_EQ(row(8, {10, 50}, 8, 0, R_ResampleBitmapInt), (Bytes{10, 10, 10, 20, 30, 40, 50, 50}));
    EXPECT_EQ(row(8, {50, 10}, 6, 0, R_ResampleBitmapInt), (Bytes{50, 50, 36, 23, 10, 10}));  // floors
    // 4096 * 3 / 2 a pixel: all of the first and half of the second, then the other half and the third.
    EXPECT_EQ(row(8, {90, 30, 200}, 2, 0, R_ResampleBitmapInt), (Bytes{70, 143}));
    EXPECT_EQ(row(32, {200, 100, 50, 255, 0, 0, 0, 0}, 1, RSZ_ALPHA_WEIGHTED, R_ResampleBitmapInt),
              (Bytes{199, 99, 49, 127}));
    EXPECT_EQ(row(8, Bytes(9, 77), 40, 0, R_BicubicResampleBitmapInt), Bytes(40, 77));  // flat
    const Bytes steep = row(8, {0, 0, 0, 255, 255, 255, 0, 0}, 80, 0, R_BicubicResampleBitmapInt);
    EXPECT_EQ(std::count(steep.begin(), steep.end(), uint8_t(255)) > 20, true);  // clamped, not wrapped
    EXPECT_EQ(steep[0], 0);
    for (size_t i = 1; i < 40; ++i) EXPECT_LE(steep[i - 1], steep[i]) << i;
}

TEST(Resample, InPlace) {
    RGBQUAD palette[16];
    for (uint8_t i = 0; i < 16; ++i) palette[i] = {uint8_t(i * 16), uint8_t(255 - i * 8), uint8_t(i * i), 0};
    for (const bool bSpline : {false, true}) {
        const auto call = bSpline ? R_BicubicResampleBitmap : R_ResampleBitmap;
        Bitmap bm(4, 40, 30), wanted(4, 77, 12);
        for (BITMAPRECORD* p : {&bm, &wanted}) ASSERT_EQ(R_SetBitmapNewPalette(p, palette, 16), 1);
        test::fillRandom(bm.record, 4);
        ASSERT_EQ(kCalls[bSpline](&bm, &wanted, sizeof(BITMAPRECORD), 0), 1);
        const long blocks = faults::liveBlocks();
        ASSERT_EQ(call(&bm, 77, 12, 0), 1);
        EXPECT_EQ(faults::liveBlocks(), blocks);
        EXPECT_EQ(bm->Width, 77);
        EXPECT_EQ(bm->Height, 12);
        ASSERT_TRUE(bm->pPalette && std::memcmp(bm->pPalette, palette, sizeof palette) == 0);
        EXPECT_EQ(test::contents(bm.record), test::contents(wanted.record));
    }
    // Grey through a table that is no ramp has no grey mean: it becomes colours.
    Bitmap gray(16, 8, 8, test::Holding::conventional, ORDER_GRAY);
    gray->PhysicalHighBit = 7;
    gray->pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(1, 256 * sizeof(RGBQUAD), __LINE__, __FILE__));
    gray->LUTLength = 256;
    for (uint32_t i = 0; i < 256; ++i) gray->pLUT[i] = {uint8_t(i * 7), uint8_t(i), uint8_t(255 - i), 0};
    gray->Flags |= BMF_USE_LUT | BMF_NONLINEAR_LUT;
    for (int y = 0; y < 8; ++y) std::fill_n(reinterpret_cast<uint16_t*>(gray->pData + y * 16), 8, uint16_t(9));
    ASSERT_EQ(R_ResampleBitmap(&gray, 3, 3, 0), 1);
    EXPECT_EQ(gray->BitsPerPixel, 24);
    EXPECT_EQ(Bytes(gray->pData, gray->pData + 3), (Bytes{63, 9, 246}));
}

TEST(Resample, Failures) {
    Bitmap src(24, 40, 30), dst(8, 20, 50);
    const Bytes before = test::fillRandom(src.record, 1);
    BITMAPRECORD none{};
    const uint32_t nSize = sizeof(BITMAPRECORD);
    EXPECT_EQ(R_ResampleBitmap(nullptr, 4, 4, 0), -2);
    EXPECT_EQ(R_BicubicResampleBitmap(&none, 4, 4, 0), -2);
    EXPECT_EQ(R_ResampleBitmap(&src, -4, 4, 0), -11);
    EXPECT_EQ(R_ResampleBitmapInt(nullptr, &dst, nSize, 0), -2);
    EXPECT_EQ(R_ResampleBitmapInt(&src, &none, 5, 0), -2);
    EXPECT_EQ(R_BicubicResampleBitmapInt(&src, &dst, 5, 0), -789);
    dst->uStructSize = 5;
    EXPECT_EQ(R_ResampleBitmapInt(&src, &dst, nSize, 0), -789);
    dst->uStructSize = nSize;

    static int s_nCalls;
    s_nCalls = 0;
    R_SetStatusCallBack([](int32_t nPercent, void*) { return ++s_nCalls > 3 ? -100 - nPercent : 1; }, nullptr, nullptr,
                        nullptr);
    const long blocks = faults::liveBlocks();
    EXPECT_EQ(R_ResampleBitmap(&src, 20, 50, 0), -106);  // 0, 2, 4 and 6 percent
    R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(faults::liveBlocks(), blocks);
    EXPECT_EQ(test::contents(src.record), before);

    for (const Size to : {Size{20, 10}, Size{20, 60}, Size{80, 60}})
        for (const bool bSpline : {false, true})
            for (int k = 0, bDone = 0; !bDone; ++k) {
                Bitmap bm(4, 40, 30);
                const Bytes was = test::fillRandom(bm.record, 1);
                const long held = faults::liveBlocks();
                faults::FailFromNthAllocation fail(k);
                const int32_t n = (bSpline ? R_BicubicResampleBitmap : R_ResampleBitmap)(&bm, to.nWidth, to.nHeight, 0);
                fail.stop();
                // Vector loops do without their memory.
                if (n == 1) {
                    bDone = !fail.fired();
                    EXPECT_EQ(bm->Width, to.nWidth);
                    continue;
                }
                ASSERT_TRUE(n == -1 && faults::liveBlocks() == held && test::contents(bm.record) == was)
                    << k << " " << n;
                ASSERT_EQ(bm->nLockCount, 0);
            }
}

}  // namespace
