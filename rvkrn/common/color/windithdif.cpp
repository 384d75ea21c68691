// Error diffusion.
//
// An error row holds, for each column, sums of weighted errors in four lanes: blue, green, red, and one that counts for
// nothing. The rows that come down from above are read while those for the rows below are written; then they change
// places, the oldest one last. A walker goes along the row. It keeps in registers the sums of the columns ahead, and
// those of the rows below that still grow, so that every column of every row is loaded once and stored once.
//
// A walk is one long chain of dependent steps. To keep the processor busy, long rows are cut into stretches that are
// walked side by side. A walker of an inner stretch starts some columns early, with errors guessed; as the guess is
// forgotten by and by, and each pixel is decided by thresholds, it nearly always arrives at its stretch in exactly the
// state that the walker before it ends with. Where it doesn't, its stretch is walked again. The result is always that
// of one walk.
#include <algorithm>
#include <cstring>

#include "internal/dither_.h"
#include "internal/pixels.h"
#include "internal/simd.h"

#ifdef RV_X86
#include <emmintrin.h>
#endif

namespace rv {
namespace {

// ---- kernels -----------------------------------------------------------------------------------------------------

struct DiffusionKernel {
    int nDivisor;
    int nAhead;       // columns to the right that get a share
    int nSide;        // columns on either side in the rows below
    int nRows;        // rows below
    int ahead[2];     // x+1, x+2
    int below[3][7];  // x-nSide to x+nSide
};

template <int Method>
constexpr DiffusionKernel kKernel{};
template <>
constexpr DiffusionKernel kKernel<DITHER_FLOYD>{16, 1, 1, 1, {7}, {{3, 5, 1}}};
// The two rows below fell into one, and the last share of the first was lost: 40 of 42 parts are given on.
template <>
constexpr DiffusionKernel kKernel<DITHER_STUCKI>{42, 2, 2, 1, {8, 4}, {{3, 6, 12, 6, 1}}};
template <>
constexpr DiffusionKernel kKernel<DITHER_BURKES>{32, 2, 2, 1, {8, 4}, {{2, 4, 8, 4, 2}}};
template <>
constexpr DiffusionKernel kKernel<DITHER_SIERRA>{32, 2, 2, 2, {5, 3}, {{2, 4, 5, 4, 2}, {0, 2, 3, 2, 0}}};
template <>
constexpr DiffusionKernel kKernel<DITHER_STEVENSON_ARCE>{
    200, 3, 3, 3, {0, 32}, {{12, 0, 26, 0, 30, 0, 16}, {0, 12, 0, 26, 0, 12, 0}, {5, 0, 12, 0, 12, 0, 5}}};
template <>
constexpr DiffusionKernel kKernel<DITHER_JARVIS>{48, 2, 2, 2, {7, 5}, {{3, 5, 7, 5, 3}, {1, 3, 5, 3, 1}}};

// The largest sum that a column can hold.
constexpr int largestSum(const DiffusionKernel& k) noexcept {
    int n = 0;
    for (const int w : k.ahead) n += w;
    for (const auto& row : k.below)
        for (const int w : row) n += w;
    return n * 255;
}

// ---- four channels at once ---------------------------------------------------------------------------------------

// Lanes of kCount pixels, which lie nApart places from each other.
struct PlainLanes {
    using Word = int32_t;
    static constexpr size_t kCount = 1;
    Word v[4];

    static PlainLanes zero() noexcept { return {{0, 0, 0, 0}}; }
    static PlainLanes load(const Word* p, size_t) noexcept { return {{p[0], p[1], p[2], p[3]}}; }
    void store(Word* p, size_t) const noexcept {
        for (int i = 0; i < 4; ++i) p[i] = v[i];
    }
    static uint32_t pixels(const uint8_t* p, size_t) noexcept { return loadLittle<uint32_t>(p); }
    static PlainLanes of(uint32_t u) noexcept {
        return {{Word(u & 255), Word(u >> 8 & 255), Word(u >> 16 & 255), Word(u >> 24)}};
    }
    // Pixels moved by the addend, within 0 to 255.
    static uint32_t moved(uint32_t u, const PlainLanes& addend) noexcept {
        uint32_t out = 0;
        for (int i = 0; i < 4; ++i) out |= uint32_t(std::clamp(Word(u >> 8 * i & 255) + addend.v[i], 0, 255)) << 8 * i;
        return out;
    }
    template <int Weight>
    PlainLanes times() const noexcept {
        return {{v[0] * Weight, v[1] * Weight, v[2] * Weight, v[3] * Weight}};
    }
    // Towards zero.
    template <int Divisor>
    PlainLanes divided() const noexcept {
        return {{v[0] / Divisor, v[1] / Divisor, v[2] / Divisor, v[3] / Divisor}};
    }
    friend PlainLanes operator+(const PlainLanes& a, const PlainLanes& b) noexcept {
        return {{a.v[0] + b.v[0], a.v[1] + b.v[1], a.v[2] + b.v[2], a.v[3] + b.v[3]}};
    }
    friend PlainLanes operator-(const PlainLanes& a, const PlainLanes& b) noexcept {
        return {{a.v[0] - b.v[0], a.v[1] - b.v[1], a.v[2] - b.v[2], a.v[3] - b.v[3]}};
    }
};

#ifdef RV_X86
// Two pixels in words, for kernels whose sums fit them.
struct WordLanes {
    using Word = int16_t;
    static constexpr size_t kCount = 2;
    __m128i v;

    static WordLanes zero() noexcept { return {_mm_setzero_si128()}; }
    static WordLanes load(const Word* p, size_t nApart) noexcept {
        const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        return {_mm_unpacklo_epi64(low, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + nApart * 4)))};
    }
    void store(Word* p, size_t nApart) const noexcept {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + nApart * 4), _mm_unpackhi_epi64(v, v));
    }
    static __m128i pixels(const uint8_t* p, size_t nApart) noexcept {
        return _mm_unpacklo_epi32(_mm_cvtsi32_si128(loadLittle<int32_t>(p)),
                                  _mm_cvtsi32_si128(loadLittle<int32_t>(p + nApart * 4)));
    }
    static WordLanes of(__m128i u) noexcept { return {_mm_unpacklo_epi8(u, _mm_setzero_si128())}; }
    static __m128i moved(__m128i u, const WordLanes& addend) noexcept {
        const __m128i sum = _mm_add_epi16(of(u).v, addend.v);
        return _mm_packus_epi16(sum, sum);
    }
    template <int Weight>
    WordLanes times() const noexcept {
        if constexpr (Weight == 1) return *this;
        if constexpr (Weight == 7) return {_mm_sub_epi16(_mm_slli_epi16(v, 3), v)};  // on the way to the next pixel
        return {_mm_mullo_epi16(v, _mm_set1_epi16(Weight))};
    }
    template <int Divisor>
    WordLanes divided() const noexcept {
        if constexpr (Divisor == 16 || Divisor == 32) {
            constexpr int nShift = Divisor == 16 ? 4 : 5;
            return {_mm_srai_epi16(_mm_add_epi16(v, _mm_srli_epi16(_mm_srai_epi16(v, 15), 16 - nShift)), nShift)};
        } else {
            // 2^20 / Divisor rounded up errs by less than 1 / Divisor for sums below 13000; below zero one is added.
            constexpr int nReciprocal = (1 << 20) / Divisor + 1;
            const __m128i product = _mm_mulhi_epi16(v, _mm_set1_epi16(nReciprocal));
            return {_mm_sub_epi16(_mm_srai_epi16(product, 4), _mm_srai_epi16(v, 15))};
        }
    }
    // Which of two colours a pixel gets, all ones for the second, without leaving the vector.
    static __m128i isSecond(const WordLanes& color) noexcept {
        const __m128i halves = _mm_madd_epi16(color.v, _mm_setr_epi16(1, 5, 2, 0, 1, 5, 2, 0));
        const __m128i weighed = _mm_add_epi32(halves, _mm_shuffle_epi32(halves, 0xB1));  // in both halves
        return _mm_cmpgt_epi32(weighed, _mm_set1_epi32(1023 - 4));
    }
    friend WordLanes operator+(const WordLanes& a, const WordLanes& b) noexcept { return {_mm_add_epi16(a.v, b.v)}; }
    friend WordLanes operator-(const WordLanes& a, const WordLanes& b) noexcept { return {_mm_sub_epi16(a.v, b.v)}; }
    friend WordLanes operator&(const WordLanes& a, __m128i mask) noexcept { return {_mm_and_si128(a.v, mask)}; }
};
template <int Method>
using LanesOf = std::conditional_t<(largestSum(kKernel<Method>) < 13000), WordLanes, PlainLanes>;
#else
template <int Method>
using LanesOf = PlainLanes;
#endif

// ---- a walk ------------------------------------------------------------------------------------------------------

// A row, the error rows that it reads, and those that it writes. Column c of row k is at (k * nLength + nSide + c) * 4.
template <class Lanes>
struct WalkRow {
    const uint8_t* pPixels;
    uint8_t* pIndices;
    const typename Lanes::Word* pFrom;
    typename Lanes::Word* pTo;
    size_t nLength;
    Lanes first, second;  // two colours: the first, and what takes it to the second
};

// Goes along Lanes::kCount places of a row at once.
template <int Method, int Kind>
struct Walker {
    static constexpr const DiffusionKernel& k = kKernel<Method>;
    using Lanes = LanesOf<Method>;
    using Word = typename Lanes::Word;
    using Row = WalkRow<Lanes>;
    using Find = Finder<Kind>;

    Lanes ahead[k.nAhead];              // sums of columns x on
    Lanes below[k.nRows][2 * k.nSide];  // sums of columns x - nSide on

    // The error that came down into column x + nOffset of row nRow; the row past the last one is empty.
    template <int Row_>
    RV_INLINE static Lanes from(const Row& row, size_t x, size_t nApart, int nOffset) noexcept {
        if constexpr (Row_ >= k.nRows)
            return Lanes::zero();
        else
            return Lanes::load(row.pFrom + (Row_ * row.nLength + x + size_t(k.nSide + nOffset)) * 4, nApart);
    }

    // At the start of the row this is the state; elsewhere a guess, from which the shares of this row are missing.
    template <int Row_ = 0>
    void start(const Row& row, size_t x, size_t nApart) noexcept {
        if constexpr (Row_ == 0)
            for (int i = 0; i < k.nAhead; ++i) ahead[i] = from<0>(row, x, nApart, i);
        for (int i = 0; i < 2 * k.nSide; ++i) below[Row_][i] = from<Row_ + 1>(row, x, nApart, i - k.nSide);
        if constexpr (Row_ + 1 < k.nRows) start<Row_ + 1>(row, x, nApart);
    }

    template <bool Store>
    RV_INLINE void step(const Row& row, const Find& find, size_t x, size_t nApart) noexcept {
        const auto pixels = Lanes::pixels(row.pPixels + x * 4, nApart);
        const auto colors = Lanes::moved(pixels, ahead[0].template divided<k.nDivisor>());
        Lanes e = Lanes::of(colors);
        uint8_t* pIndex = row.pIndices + x;
        if constexpr (Lanes::kCount == 1) {
            const uint32_t uAnswer = find(colors);
            e = e - Lanes::of(uAnswer);
            if constexpr (Store) *pIndex = uint8_t(uAnswer >> 24);
        }
#ifdef RV_X86
        else if constexpr (Kind == kTwoColors) {
            const __m128i isSecond = Lanes::isSecond(e);
            e = e - row.first - (row.second & isSecond);
            if constexpr (Store) {
                const int nMask = _mm_movemask_epi8(isSecond);
                pIndex[0] = nMask & 1;
                pIndex[nApart] = uint8_t(nMask >> 15);
            }
        } else {
            const uint32_t u0 = find(uint32_t(_mm_cvtsi128_si32(colors)));
            const uint32_t u1 = find(uint32_t(_mm_cvtsi128_si32(_mm_shuffle_epi32(colors, 1))));
            e = e - Lanes::of(_mm_unpacklo_epi32(_mm_cvtsi32_si128(int32_t(u0)), _mm_cvtsi32_si128(int32_t(u1))));
            if constexpr (Store) {
                pIndex[0] = uint8_t(u0 >> 24);
                pIndex[nApart] = uint8_t(u1 >> 24);
            }
        }
#endif
        shareAhead<0>(row, e, x, nApart);
        shareBelow<Store, 0, 0>(row, e, x, nApart);
    }

    template <int I>
    RV_INLINE void shareAhead(const Row& row, const Lanes& e, size_t x, size_t nApart) noexcept {
        constexpr bool bLast = I + 1 == k.nAhead;
        constexpr int nWeight = I < 2 ? k.ahead[I < 2 ? I : 0] : 0;
        ahead[I] = bLast ? from<0>(row, x, nApart, k.nAhead) : ahead[bLast ? 0 : I + 1];
        if constexpr (nWeight != 0) ahead[I] = ahead[I] + e.template times<nWeight>();
        if constexpr (!bLast) shareAhead<I + 1>(row, e, x, nApart);
    }
    template <bool Store, int Row_, int I>
    RV_INLINE void shareBelow(const Row& row, const Lanes& e, size_t x, size_t nApart) noexcept {
        constexpr bool bLast = I == 2 * k.nSide;
        constexpr int nWeight = k.below[Row_][I];
        Lanes sum = bLast ? from<Row_ + 1>(row, x, nApart, k.nSide) : below[Row_][bLast ? 0 : I];
        if constexpr (nWeight != 0) sum = sum + e.template times<nWeight>();
        if constexpr (I > 0)
            below[Row_][I - 1] = sum;
        else if constexpr (Store)
            sum.store(row.pTo + (Row_ * row.nLength + x) * 4, nApart);
        if constexpr (!bLast)
            shareBelow<Store, Row_, I + 1>(row, e, x, nApart);
        else if constexpr (Row_ + 1 < k.nRows)
            shareBelow<Store, Row_ + 1, 0>(row, e, x, nApart);
    }

    // What still grew when the row ended at column x.
    void finish(const Row& row, size_t x, size_t nApart) const noexcept {
        for (size_t r = 0; r < size_t(k.nRows); ++r)
            for (size_t i = 0; i < size_t(2 * k.nSide); ++i)
                below[r][i].store(row.pTo + (r * row.nLength + x + i) * 4, nApart);
    }
};

// The state at one of the places of a walker.
template <class W>
struct PlaceOf {
    W& walker;
    size_t nPlace;
    static constexpr size_t kLanes = sizeof(W) / sizeof(typename W::Lanes);
    static constexpr size_t kBytes = sizeof(typename W::Lanes) / W::Lanes::kCount;

    uint8_t* lanes(size_t i) const noexcept {
        return reinterpret_cast<uint8_t*>(&walker) + i * sizeof(typename W::Lanes) + nPlace * kBytes;
    }
    void copyFrom(const PlaceOf& other) const noexcept {
        for (size_t i = 0; i < kLanes; ++i) std::memcpy(lanes(i), other.lanes(i), kBytes);
    }
    bool isSame(const PlaceOf& other) const noexcept {
        for (size_t i = 0; i < kLanes; ++i)
            if (std::memcmp(lanes(i), other.lanes(i), kBytes) != 0) return false;
        return true;
    }
};

// ---- a row -------------------------------------------------------------------------------------------------------

constexpr size_t kStretches = 4, kEarly = 96, kLeastStretch = 256;

// One walk; where a walker has two places, both do the same.
template <class W>
void walk(W& walker, const typename W::Row row, const typename W::Find find, size_t nFrom, size_t nTo) noexcept {
    W w = walker;  // in registers
    for (size_t x = nFrom; x < nTo; ++x) w.template step<true>(row, find, x, 0);
    walker = w;
}

template <class W>
constexpr size_t kWalkers = kStretches / W::Lanes::kCount;

// All places of all walkers side by side, from their own columns on.
template <bool Store, class W>
void walkAll(W (&walkers)[kWalkers<W>], const typename W::Row row, const typename W::Find find,
             const size_t (&from)[kStretches], size_t n) noexcept {
    if constexpr (kWalkers<W> == 2) {
        W a = walkers[0], b = walkers[1];
        const size_t nApartA = from[1] - from[0], nApartB = from[3] - from[2];
        for (size_t i = 0; i < n; ++i) {
            a.template step<Store>(row, find, from[0] + i, nApartA);
            b.template step<Store>(row, find, from[2] + i, nApartB);
        }
        walkers[0] = a, walkers[1] = b;
    } else {
        static_assert(kWalkers<W> == 4);
        W a = walkers[0], b = walkers[1], c = walkers[2], d = walkers[3];
        for (size_t i = 0; i < n; ++i) {
            a.template step<Store>(row, find, from[0] + i, 0);
            b.template step<Store>(row, find, from[1] + i, 0);
            c.template step<Store>(row, find, from[2] + i, 0);
            d.template step<Store>(row, find, from[3] + i, 0);
        }
        walkers[0] = a, walkers[1] = b, walkers[2] = c, walkers[3] = d;
    }
}

// Returns whether every guess came true.
template <class W>
bool walkStretches(const typename W::Row& row, const typename W::Find& find, size_t n) noexcept {
    constexpr size_t kCount = W::Lanes::kCount;
    const size_t nStretch = n / kStretches;
    const auto place = [](W* p, size_t i) { return PlaceOf<W>{p[i / kCount], i % kCount}; };
    W walkers[kWalkers<W>], arrived[kWalkers<W>], one;
    size_t begin[kStretches], early[kStretches];
    for (size_t i = 0; i < kStretches; ++i) {
        begin[i] = i * nStretch;
        early[i] = i ? begin[i] - kEarly : 0;
    }
    for (size_t i = 0; i < kStretches; i += kCount)
        walkers[i / kCount].start(row, early[i], early[i + kCount - 1] - early[i]);
    walkAll<false>(walkers, row, find, early, kEarly);
    one.start(row, 0, 0);
    place(walkers, 0).copyFrom(place(&one, 0));
    std::copy_n(walkers, kWalkers<W>, arrived);
    walkAll<true>(walkers, row, find, begin, nStretch);

    bool bTrue = true;
    const auto walkOne = [&](const PlaceOf<W>& from, size_t nFrom, size_t nTo) {
        for (size_t i = 0; i < kCount; ++i) place(&one, i).copyFrom(from);
        walk(one, row, find, nFrom, nTo);
    };
    for (size_t i = 1; i < kStretches; ++i) {
        if (place(walkers, i - 1).isSame(place(arrived, i))) continue;
        bTrue = false;
        walkOne(place(walkers, i - 1), begin[i], begin[i] + nStretch);
        place(walkers, i).copyFrom(place(&one, 0));
    }
    walkOne(place(walkers, kStretches - 1), kStretches * nStretch, n);
    one.finish(row, n, 0);
    return bTrue;
}

// Columns right of a row that is shorter than others keep what they hold.
template <class Row>
void keepRest(const Row& row, size_t nRows, size_t nColumn) noexcept {
    for (size_t r = 0; r < nRows && nColumn < row.nLength; ++r) {
        const size_t nAt = (r * row.nLength + nColumn) * 4;
        std::memcpy(row.pTo + nAt, row.pFrom + nAt, (row.nLength - nColumn) * 4 * sizeof *row.pTo);
    }
}

template <int Method, int Kind>
void diffuse(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept {
    using W = Walker<Method, Kind>;
    using Lanes = typename W::Lanes;
    auto* pErrors = reinterpret_cast<typename W::Word*>(data.Errors.get());
    const size_t nHalf = size_t(data.nErrorRows) * data.nErrorRowLength * 4;
    const auto answer = [&](size_t i) {
        return Lanes::of(Lanes::pixels(reinterpret_cast<const uint8_t*>(&data.Answers[i]), 0));
    };
    const typename W::Row row{pPixels,
                              pIndices,
                              pErrors + (data.bErrorsSwapped ? nHalf : 0),
                              pErrors + (data.bErrorsSwapped ? 0 : nHalf),
                              data.nErrorRowLength,
                              answer(0),
                              answer(1) - answer(0)};
    data.bErrorsSwapped = !data.bErrorsSwapped;
    keepRest(row, data.nErrorRows, n + size_t(2 * W::k.nSide));
    const Finder<Kind> find{data};

    // Pictures in which guesses don't come true are walked in turn for more and more rows.
    if (Finder<Kind>::kPure && n >= kStretches * kLeastStretch && data.nRowsInTurn == 0) {
        const bool bTrue = walkStretches<W>(row, find, n);
        data.nPenalty = bTrue ? data.nPenalty / 2 : std::min(data.nPenalty * 2 + 1, 63u);
        data.nRowsInTurn = bTrue ? 0 : data.nPenalty;
        return;
    }
    if (data.nRowsInTurn) --data.nRowsInTurn;
    W w;
    w.start(row, 0, 0);
    walk(w, row, find, 0, n);
    w.finish(row, n, 0);
}

template <class F>
decltype(auto) visitMethod(int32_t nMethod, F&& f) {
    switch (nMethod) {
        case DITHER_STUCKI:
            return f(Kinds<DITHER_STUCKI>{});
        case DITHER_BURKES:
            return f(Kinds<DITHER_BURKES>{});
        case DITHER_SIERRA:
            return f(Kinds<DITHER_SIERRA>{});
        case DITHER_STEVENSON_ARCE:
            return f(Kinds<DITHER_STEVENSON_ARCE>{});
        case DITHER_JARVIS:
            return f(Kinds<DITHER_JARVIS>{});
        default:
            return f(Kinds<DITHER_FLOYD>{});
    }
}

}  // namespace

ErrorShape errorShape(int32_t nMethod) noexcept {
    if (nMethod < DITHER_FLOYD || nMethod > DITHER_JARVIS) return {0, 0};
    return visitMethod(nMethod, [](auto method) {
        return ErrorShape{uint32_t(kKernel<method>.nRows), uint32_t(kKernel<method>.nSide)};
    });
}

void diffuseRow(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept {
    visitMethod(data.nMethod, [&](auto method) {
        visitFinder(data.nPaletteKind, [&](auto kind) { diffuse<method, kind>(data, pPixels, pIndices, n); });
    });
}

}  // namespace rv
