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

struct PlainLanes {
    using Word = int32_t;
    Word v[4];

    static PlainLanes load(const Word* p) noexcept { return {{p[0], p[1], p[2], p[3]}}; }
    void store(Word* p) const noexcept {
        for (int i = 0; i < 4; ++i) p[i] = v[i];
    }
    static PlainLanes ofPixel(uint32_t u) noexcept {
        return {{Word(u & 255), Word(u >> 8 & 255), Word(u >> 16 & 255), Word(u >> 24)}};
    }
    // The pixel moved by the addend, within 0 to 255.
    static uint32_t moved(uint32_t uPixel, const PlainLanes& addend) noexcept {
        uint32_t u = 0;
        for (int i = 0; i < 4; ++i)
            u |= uint32_t(std::clamp(Word(uPixel >> 8 * i & 255) + addend.v[i], 0, 255)) << 8 * i;
        return u;
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
// For kernels whose sums fit 16 bits.
struct WordLanes {
    using Word = int16_t;
    __m128i v;

    static WordLanes load(const Word* p) noexcept { return {_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))}; }
    void store(Word* p) const noexcept { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
    static WordLanes ofPixel(uint32_t u) noexcept {
        return {_mm_unpacklo_epi8(_mm_cvtsi32_si128(int32_t(u)), _mm_setzero_si128())};
    }
    static uint32_t moved(uint32_t uPixel, const WordLanes& addend) noexcept {
        const __m128i sum = _mm_add_epi16(ofPixel(uPixel).v, addend.v);
        return uint32_t(_mm_cvtsi128_si32(_mm_packus_epi16(sum, sum)));
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
    friend WordLanes operator+(const WordLanes& a, const WordLanes& b) noexcept { return {_mm_add_epi16(a.v, b.v)}; }
    friend WordLanes operator-(const WordLanes& a, const WordLanes& b) noexcept { return {_mm_sub_epi16(a.v, b.v)}; }
};
template <int Method>
using LanesOf = std::conditional_t<(largestSum(kKernel<Method>) < 13000), WordLanes, PlainLanes>;
#else
template <int Method>
using LanesOf = PlainLanes;
#endif

// ---- a walk ------------------------------------------------------------------------------------------------------

// A row, the error rows that it reads, and those that it writes. Column c of row k is at (k * nLength + nSide + c) * 4.
template <class Word>
struct WalkRow {
    const uint8_t* pPixels;
    uint8_t* pIndices;
    const Word* pFrom;
    Word* pTo;
    size_t nLength;
};

template <int Method, int Kind>
struct Walker {
    static constexpr const DiffusionKernel& k = kKernel<Method>;
    using Lanes = LanesOf<Method>;
    using Word = typename Lanes::Word;
    using Row = WalkRow<Word>;

    Lanes ahead[k.nAhead];              // sums of columns x on
    Lanes below[k.nRows][2 * k.nSide];  // sums of columns x - nSide on

    // The error that came down into column x + nOffset of row nRow; the row past the last one is empty.
    template <int Row_>
    static Lanes from(const Row& row, size_t x, int nOffset) noexcept {
        if constexpr (Row_ >= k.nRows) return Lanes::ofPixel(0);
        return Lanes::load(row.pFrom + (Row_ * row.nLength + x + size_t(k.nSide + nOffset)) * 4);
    }

    // At the start of the row this is the state; elsewhere a guess, from which the shares of this row are missing.
    void start(const Row& row, size_t x) noexcept {
        for (int i = 0; i < k.nAhead; ++i) ahead[i] = from<0>(row, x, i);
        startBelow<0>(row, x);
    }
    template <int Row_>
    void startBelow(const Row& row, size_t x) noexcept {
        if constexpr (Row_ < k.nRows) {
            for (int i = 0; i < 2 * k.nSide; ++i) below[Row_][i] = from<Row_ + 1>(row, x, i - k.nSide);
            startBelow<Row_ + 1>(row, x);
        }
    }

    template <bool Store>
    void step(const Row& row, const Finder<Kind>& find, size_t x) noexcept {
        const uint32_t uColor =
            Lanes::moved(loadLittle<uint32_t>(row.pPixels + x * 4), ahead[0].template divided<k.nDivisor>());
        const uint32_t uAnswer = find(uColor);
        const Lanes e = Lanes::ofPixel(uColor) - Lanes::ofPixel(uAnswer);
        if constexpr (Store) row.pIndices[x] = uint8_t(uAnswer >> 24);
        shareAhead<0>(row, e, x);
        shareBelow<Store, 0>(row, e, x);
    }

    template <int I>
    void shareAhead(const Row& row, const Lanes& e, size_t x) noexcept {
        const Lanes sum = I + 1 < k.nAhead ? ahead[I + 1 < k.nAhead ? I + 1 : I] : from<0>(row, x, k.nAhead);
        if constexpr (k.ahead[I < 2 ? I : 0] == 0 || I >= 2)
            ahead[I] = sum;
        else
            ahead[I] = sum + e.template times<k.ahead[I]>();
        if constexpr (I + 1 < k.nAhead) shareAhead<I + 1>(row, e, x);
    }
    template <bool Store, int Row_>
    void shareBelow(const Row& row, const Lanes& e, size_t x) noexcept {
        if constexpr (Row_ < k.nRows) {
            shareColumn<Store, Row_, 0>(row, e, x);
            shareBelow<Store, Row_ + 1>(row, e, x);
        }
    }
    template <bool Store, int Row_, int I>
    void shareColumn(const Row& row, const Lanes& e, size_t x) noexcept {
        constexpr int nWeight = k.below[Row_][I];
        Lanes sum = I < 2 * k.nSide ? below[Row_][I < 2 * k.nSide ? I : 0] : from<Row_ + 1>(row, x, k.nSide);
        if constexpr (nWeight != 0) sum = sum + e.template times<nWeight>();
        if constexpr (I > 0)
            below[Row_][I - 1] = sum;
        else if constexpr (Store)
            sum.store(row.pTo + (Row_ * row.nLength + x) * 4);
        if constexpr (I < 2 * k.nSide) shareColumn<Store, Row_, I + 1>(row, e, x);
    }

    // What still grew when the row ended at column x.
    void finish(const Row& row, size_t x) const noexcept {
        for (size_t r = 0; r < size_t(k.nRows); ++r)
            for (size_t i = 0; i < size_t(2 * k.nSide); ++i) below[r][i].store(row.pTo + (r * row.nLength + x + i) * 4);
    }

    bool operator==(const Walker& other) const noexcept { return std::memcmp(this, &other, sizeof *this) == 0; }
};

// ---- a row -------------------------------------------------------------------------------------------------------

constexpr size_t kStretches = 4, kEarly = 64, kLeastStretch = 256;

template <bool Store, class W, class Find>
void walk(W& walker, const typename W::Row& row, const Find& find, size_t nFrom, size_t nTo) noexcept {
    W w = walker;  // in registers
    for (size_t x = nFrom; x < nTo; ++x) w.template step<Store>(row, find, x);
    walker = w;
}

// Side by side; each from its own column on.
template <bool Store, class W, class Find>
void walkAll(W (&walkers)[kStretches], const typename W::Row& row, const Find& find, const size_t (&from)[kStretches],
             size_t n) noexcept {
    static_assert(kStretches == 4);
    W a = walkers[0], b = walkers[1], c = walkers[2], d = walkers[3];
    for (size_t i = 0; i < n; ++i) {
        a.template step<Store>(row, find, from[0] + i);
        b.template step<Store>(row, find, from[1] + i);
        c.template step<Store>(row, find, from[2] + i);
        d.template step<Store>(row, find, from[3] + i);
    }
    walkers[0] = a, walkers[1] = b, walkers[2] = c, walkers[3] = d;
}

// Returns whether every guess came true.
template <class W, class Find>
bool walkStretches(const typename W::Row& row, const Find& find, size_t n) noexcept {
    const size_t nStretch = n / kStretches;
    W walkers[kStretches], arrived[kStretches];
    size_t begin[kStretches], early[kStretches];
    for (size_t i = 0; i < kStretches; ++i) {
        begin[i] = i * nStretch;
        early[i] = i ? begin[i] - kEarly : 0;
        walkers[i].start(row, early[i]);
    }
    walkAll<false>(walkers, row, find, early, kEarly);
    walkers[0].start(row, 0);
    std::copy_n(walkers, kStretches, arrived);
    walkAll<true>(walkers, row, find, begin, nStretch);

    bool bTrue = true;
    for (size_t i = 1; i < kStretches; ++i) {
        if (walkers[i - 1] == arrived[i]) continue;
        bTrue = false;
        walkers[i] = walkers[i - 1];
        walk<true>(walkers[i], row, find, begin[i], begin[i] + nStretch);
    }
    W& last = walkers[kStretches - 1];
    walk<true>(last, row, find, kStretches * nStretch, n);
    last.finish(row, n);
    return bTrue;
}

template <int Method, int Kind>
void diffuse(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept {
    using W = Walker<Method, Kind>;
    using Word = typename W::Word;
    auto* pErrors = reinterpret_cast<Word*>(data.Errors.get());
    const size_t nHalf = size_t(data.nErrorRows) * data.nErrorRowLength * 4;
    const typename W::Row row{pPixels, pIndices, pErrors + (data.bErrorsSwapped ? nHalf : 0),
                              pErrors + (data.bErrorsSwapped ? 0 : nHalf), data.nErrorRowLength};
    data.bErrorsSwapped = !data.bErrorsSwapped;
    const Finder<Kind> find{data};

    // Pictures in which guesses don't come true are walked in turn for more and more rows.
    const bool bStretches = Finder<Kind>::kPure && n >= kStretches * kLeastStretch && data.nRowsInTurn == 0;
    if (bStretches) {
        const bool bTrue = walkStretches<W>(row, find, n);
        data.nPenalty = bTrue ? data.nPenalty / 2 : std::min(data.nPenalty * 2 + 1, 63u);
        data.nRowsInTurn = bTrue ? 0 : data.nPenalty;
        return;
    }
    if (data.nRowsInTurn) --data.nRowsInTurn;
    W w;
    w.start(row, 0);
    walk<true>(w, row, find, 0, n);
    w.finish(row, n);
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
        visitKind(data.nPaletteKind, [&](auto kind) { diffuse<method, kind>(data, pPixels, pIndices, n); });
    });
}

}  // namespace rv
