// A page of text at 600 dots per inch, made by code.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace textpage {

constexpr int32_t kWidth = 5000, kHeight = 7000;  // a sheet at 600 dots per inch
constexpr uint32_t kStride = (kWidth + 31) / 32 * 4;

inline void setRun(uint8_t* row, int32_t from, int32_t to) {
    for (int32_t x = from; x < to && x < kWidth; ++x) row[x / 8] = uint8_t(row[x / 8] | 0x80 >> x % 8);
}

// Lines of words of letters, each a stem or two that lean, with a bar.
inline std::vector<uint8_t> make() {
    std::vector<uint8_t> page(size_t(kStride) * kHeight);
    std::mt19937 random(5);
    const auto upTo = [&](uint32_t n) { return int32_t(random() % n); };
    for (int32_t top = 300; top < kHeight - 360; top += 88)
        for (int32_t x = 420; x < 4560;) {
            if (upTo(6) == 0) {
                x += 26;
                continue;
            }
            const int32_t width = 20 + upTo(18), stem = 5 + upTo(4), slant = upTo(5), bar = upTo(46), second = upTo(2);
            for (int32_t y = 0; y < 50; ++y) {
                uint8_t* row = &page[size_t(top + 60 - y) * kStride];
                const int32_t at = x + slant * y / 12;
                setRun(row, at, at + (y >= bar && y < bar + 5 ? width : stem));
                if (second) setRun(row, at + width - stem, at + width);
            }
            x += width + 7;
        }
    return page;
}

}  // namespace textpage
