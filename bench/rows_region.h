// Regions of 2500 rows of 8 spans, whose edges move on every row, combined; a "pixel" is a span read.
#pragma once

// The part of rows.cpp that it is included in comes before it: run, mix and the headers.

inline std::vector<RECT> movingSpans(uint32_t seed) {
    std::vector<RECT> out;
    const int32_t top = seed % 2 ? 200 : 300, shift = seed % 2 ? 0 : 130;
    for (int32_t y = top; y < top + 2500; ++y)
        for (int32_t k = 0; k < 8; ++k) {
            const double phase = y * 0.011 + k * 0.7 + seed;
            const int32_t left = shift + k * 480 + 60 + int32_t(50 * std::sin(phase)) + (y & 1) + 1;
            const int32_t right =
                left + 150 + int32_t(90 * std::cos(phase * 1.7)) + int32_t(mix(uint32_t(y * 8 + k)) & 3);
            out.push_back({left, y, right, y + 1});
        }
    return out;
}

inline void regions() {
    const auto spansA = movingSpans(1), spansB = movingSpans(2);
    const auto make = [](const std::vector<RECT>& spans) {
        const auto nCount = uint32_t(spans.size());
        std::vector<RECT> list(2);
        const RGNDATA header{sizeof(RGNDATA), 1, nCount, nCount * 16, {}};
        std::memcpy(list.data(), &header, sizeof header);
        list.insert(list.end(), spans.begin(), spans.end());
        RavoRgn* pRgn = nullptr;
        RVHANDLE h = ExtCreateRegion(nullptr, nCount * 16 + 32, reinterpret_cast<const RGNDATA*>(list.data()));
        R_ConvertHandleToRgn(h, &pRgn);
        DeleteObject(h);
        return pRgn;
    };
    std::vector<uint8_t> plane(size_t(kWidth) * kHeight);
    for (const RECT& r : spansA)
        for (int32_t x = r.left; x < r.right; ++x) plane[size_t(r.top) * kWidth + size_t(x)] |= 1;
    for (const RECT& r : spansB)
        for (int32_t x = r.left; x < r.right; ++x) plane[size_t(r.top) * kWidth + size_t(x)] |= 2;
    RavoRgn *pA = make(spansA), *pB = make(spansB), *pResult = nullptr;
    const auto combine = [&](const char* name, int32_t nMode, const char* in) {
        run(
            name, 0.04, 0,
            [&] {
                if (pResult) R_DeleteRavoRgn(pResult);
                R_CombineRavoRgn(&pResult, pA, pB, nMode);
            },
            [&] {
                return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                    return R_IsPtInRavoRgn(pResult, y, x) == in[plane[size_t(y) * kWidth + size_t(x)]] - '0';
                });
            });
    };
    combine("region.union", 4, "0111");
    combine("region.intersect", 0, "0001");
    combine("region.subtract", 3, "0100");
    for (RavoRgn* p : {pA, pB, pResult})
        if (p) R_DeleteRavoRgn(p);
}
