#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "internal/text.h"
#include "ravokit/memory.h"

namespace {

// Through the exported calls with exact buffers, between guards; the sizes asked for beforehand must be those written.
std::u16string toWide(const std::string& text) {
    const int32_t n = R_WideFromUTF8(text.data(), int32_t(text.size()), nullptr, 0);
    std::u16string out(size_t(n) + 1, u'#');
    EXPECT_EQ(R_WideFromUTF8(text.data(), int32_t(text.size()), out.data(), uint32_t(n)), n);
    EXPECT_EQ(out.back(), u'#');
    out.pop_back();
    return out;
}
std::string toUtf8(const std::u16string& text) {
    const int32_t n = R_WideToUTF8(text.data(), int32_t(text.size()), nullptr, 0);
    std::string out(size_t(n) + 1, '#');
    EXPECT_EQ(R_WideToUTF8(text.data(), int32_t(text.size()), out.data(), uint32_t(n)), n);
    EXPECT_EQ(out.back(), '#');
    out.pop_back();
    return out;
}

template <class Char>
std::basic_string<Char> takeText(Char* p) {  // of an allocating helper
    if (!p) return {Char('?')};
    std::basic_string<Char> text(p);
    R_LocalFree(p);
    return text;
}

TEST(Text, EveryCharacterGoesBothWays) {
    // The compiler has converted these; the bounds of each length are among them.
    const std::string narrow = "a\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFD\uFFFF\U00010000\U0001F600\U0010FFFF";
    const std::u16string wide = u"a\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFD\uFFFF\U00010000\U0001F600\U0010FFFF";
    EXPECT_EQ(toWide(narrow), wide);
    EXPECT_EQ(toUtf8(wide), narrow);

    std::u16string all;
    for (uint32_t ch = 0; ch < 0x110000; ++ch) {
        if (ch >= 0xD800 && ch < 0xE000) continue;
        if (ch < 0x10000) {
            all += char16_t(ch);
        } else {
            all += char16_t(0xD800 + (ch - 0x10000) / 0x400);
            all += char16_t(0xDC00 + (ch - 0x10000) % 0x400);
        }
    }
    const std::string allNarrow = toUtf8(all);
    EXPECT_EQ(allNarrow.size(), 0x80 + 2 * 0x780 + 3 * (0xF800 - 0x800) + 4 * 0x100000u);
    EXPECT_TRUE(rv::isValidUtf8(allNarrow.data(), allNarrow.size()));
    EXPECT_TRUE(toWide(allNarrow) == all);
}

TEST(Text, WhatIsNoCharacter) {
    // Tables 3-8 to 3-11 of the Unicode standard, and what is cut off at the end.
    const struct {
        std::string bytes;
        std::u16string want;  // x for U+FFFD
    } cases[] = {{"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", u"xxxxxxxxA"},
                 {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", u"xxxxxxxxA"},
                 {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", u"xxxxxAxxB"},
                 {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"xxxxA"},
                 {"\xF0\x9F\x98", u"x"},
                 {"B\xE2\x82", u"Bx"},
                 {"\xC3", u"x"}};
    for (const auto& c : cases) {
        std::u16string want = c.want;
        for (auto& ch : want) ch = ch == u'x' ? char16_t(0xFFFD) : ch;
        EXPECT_EQ(toWide(c.bytes), want) << testing::PrintToString(c.bytes);
        EXPECT_FALSE(rv::isValidUtf8(c.bytes.data(), c.bytes.size()));
    }
    const std::u16string lone{0xD800, u'a', 0xDC00, 0xD83D, 0xD83D, 0xDE00, 0xDBFF};
    EXPECT_EQ(toUtf8(lone), "\uFFFDa\uFFFD\uFFFD\U0001F600\uFFFD");
}

TEST(Text, RandomUnitsKeepToTheirSizes) {
    // The least that isn't ASCII, at every place of texts longer than two blocks.
    for (size_t i = 0; i < 40; ++i) {
        const std::string narrow = std::string(i, '\0') + "\u0080" + std::string(40 - i, '\0');
        const std::u16string wide = std::u16string(i, u'\0') + u"\u0080" + std::u16string(40 - i, u'\0');
        EXPECT_EQ(toWide(narrow), wide) << i;
        EXPECT_EQ(toUtf8(wide), narrow) << i;
    }
    std::mt19937 random(11);
    for (int nRound = 0; nRound < 2000; ++nRound) {
        // Runs of ASCII, so that blocks begin and end at every place, between units of all kinds.
        std::string bytes;
        std::u16string units;
        for (size_t n = random() % 60; n > 0; --n) {
            bytes += char(random() % 4 ? random() % 0x80 : random());
            units += char16_t(random() % 4 ? random() % 0x80 : random() % 2 ? random() : 0xD800 + random() % 0x800);
        }
        if (bytes.empty()) continue;
        const std::u16string wide = toWide(bytes);
        EXPECT_EQ(toWide(toUtf8(wide)), wide);  // no longer anything bad in it
        const std::string narrow = toUtf8(units);
        EXPECT_EQ(toUtf8(toWide(narrow)), narrow);
        if (rv::isValidUtf8(bytes.data(), bytes.size())) {
            EXPECT_EQ(toUtf8(wide), bytes);
        }
        for (size_t i = 0, k = 0; i < bytes.size() && uint8_t(bytes[i]) < 0x80; ++i, ++k)
            ASSERT_EQ(wide[k], char16_t(bytes[i]));
    }
}

TEST(Text, BuffersAndTerminators) {
    char narrow[8];
    const auto fresh = [&] { std::memset(narrow, '#', sizeof narrow); };
    fresh();
    EXPECT_EQ(R_WideToUTF8(u"ab\u00E9", 0, narrow, 4), 4);  // as large as the text
    EXPECT_EQ(std::string(narrow, 5), "ab\u00E9#");
    EXPECT_EQ(R_WideToUTF8(u"ab\u00E9", 0, narrow, 8), 4);
    EXPECT_EQ(std::string(narrow, 6), std::string("ab\u00E9\0#", 6));
    fresh();
    EXPECT_EQ(R_WideToUTF8(u"ab\u00E9", 0, narrow, 3), 0);  // too small: nothing is written
    EXPECT_EQ(std::string(narrow, 8), "########");
    EXPECT_EQ(R_WideToUTF8(u"ab\u00E9", 0, nullptr, 0), 4);
    EXPECT_EQ(R_WideToUTF8(u"a\0b", 3, narrow, 8), 3);  // an embedded terminator
    EXPECT_EQ(std::string(narrow, 5), std::string("a\0b\0#", 5));
    fresh();
    EXPECT_EQ(R_WideToUTF8(u"ab", -1, narrow, 8), 3);  // counted, and not added again
    EXPECT_EQ(std::string(narrow, 4), std::string("ab\0#", 4));
    fresh();
    EXPECT_EQ(R_WideToUTF8(u"", 0, narrow, 8), 0);
    EXPECT_EQ(R_WideToUTF8(nullptr, 3, narrow, 8), 0);
    EXPECT_EQ(R_WideToUTF8(u"ab", 0, nullptr, 8), 0);
    EXPECT_EQ(narrow[0], '#');

    char16_t wide[5];
    const auto wideText = [&] { return std::u16string(wide, 5); };
    for (auto& ch : wide) ch = u'#';
    EXPECT_EQ(R_WideFromUTF8("\U0001F600b", 0, wide, 2), 0);
    EXPECT_EQ(wideText(), u"#####");
    EXPECT_EQ(R_WideFromUTF8("\U0001F600b", 0, wide, 3), 3);
    EXPECT_EQ(wideText(), u"\U0001F600b##");
    EXPECT_EQ(R_WideFromUTF8("\u00E9b", 0, wide, 5), 2);
    EXPECT_EQ(wideText(), std::u16string(u"\u00E9b\0##", 5));
    EXPECT_EQ(R_WideFromUTF8("a\0b", 3, wide, 5), 3);
    EXPECT_EQ(wideText(), std::u16string(u"a\0b\0#", 5));
    EXPECT_EQ(R_WideFromUTF8(nullptr, 0, wide, 5), 0);

    fresh();
    EXPECT_EQ(R_UTF8ToUTF8("abc", 0, narrow, 3), 1);
    EXPECT_EQ(std::string(narrow, 4), "abc#");
    EXPECT_EQ(R_UTF8ToUTF8("xyz", 2, narrow, 8), 1);
    EXPECT_EQ(std::string(narrow, 4), std::string("xy\0#", 4));
    EXPECT_EQ(R_UTF8ToUTF8("", 0, narrow, 8), 1);
    EXPECT_EQ(narrow[0], 0);
    EXPECT_EQ(R_UTF8ToUTF8(nullptr, 4, narrow, 8), 1);

    for (auto& ch : wide) ch = u'#';
    EXPECT_EQ(R_T2WConvert(wide, u"abcdef", 4), wide);
    EXPECT_EQ(wideText(), std::u16string(u"abc\0#", 5));
    EXPECT_EQ(R_T2WConvert(wide, u"x", 0), wide);
    EXPECT_EQ(wide[0], u'a');
    R_T2WConvert(wide, nullptr, 4);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(R_T2WConvert(nullptr, u"x", 4), nullptr);
}

TEST(Text, AllocatingHelpers) {
    EXPECT_EQ(takeText(R_A2THelper("caf\u00E9 \U0001F600")), u"caf\u00E9 \U0001F600");
    EXPECT_EQ(takeText(R_A2THelper("caf\xE9\xFF")), u"caf\u00E9\u00FF");  // Latin-1
    EXPECT_EQ(takeText(R_A2THelper("")), u"");
    EXPECT_EQ(R_A2THelper(nullptr), nullptr);
    EXPECT_EQ(takeText(R_W2AHelper(u"plain")), "plain");
    EXPECT_EQ(takeText(R_W2AHelper(u"")), "");
    EXPECT_EQ(R_W2AHelper(u"caf\u00E9"), nullptr);
    EXPECT_EQ(R_W2AHelper(nullptr), nullptr);
    EXPECT_EQ(takeText(R_T2AHelper(u"\u00E9\u00FC\U0001F600")), "\u00E9\u00FC\U0001F600");
    EXPECT_EQ(takeText(R_T2AHelper(u"a\u20AC")), "a\u20AC");
    EXPECT_EQ(R_T2AHelper(u"\u20AC"), nullptr);
    EXPECT_EQ(R_T2AHelper(nullptr), nullptr);
}

TEST(Text, NextCharacter) {
    const auto step8 = [](const char* p, uint32_t n) { return R_CharNextUTF8(p, n) - p; };
    EXPECT_EQ(R_CharNextUTF8(nullptr, 3), nullptr);
    EXPECT_EQ(step8("a", 0), 0);
    EXPECT_EQ(step8("a\x80", 2), 1);
    EXPECT_EQ(step8("\u00E9", 2), 2);
    EXPECT_EQ(step8("\u00E9", 1), 1);
    EXPECT_EQ(step8("\u20AC\x80", 4), 3);
    EXPECT_EQ(step8("\U0001F600", 4), 4);
    EXPECT_EQ(step8("\U0001F600", 3), 3);  // stops at the end
    EXPECT_EQ(step8("\U0001F600", 2), 2);
    EXPECT_EQ(step8("\xE2\x82(", 3), 2);  // up to the bad byte
    EXPECT_EQ(step8("\xF0(\x80\x80", 4), 1);
    EXPECT_EQ(step8("\x80\x80", 2), 1);
    EXPECT_EQ(step8("\xF8\x80\x80", 3), 1);
    EXPECT_EQ(step8("\xC0\x80", 2), 2);  // the form counts, not the character

    const auto step16 = [](std::u16string text, uint32_t n) { return R_CharNextUTF16(text.c_str(), n) - text.c_str(); };
    EXPECT_EQ(R_CharNextUTF16(nullptr, 3), nullptr);
    EXPECT_EQ(step16(u"a", 0), 0);
    EXPECT_EQ(step16(u"ab", 2), 1);
    EXPECT_EQ(step16(u"\U0001F600", 2), 2);
    EXPECT_EQ(step16(u"\U0001F600", 1), 1);
    EXPECT_EQ(step16({0xD83D, u'a'}, 2), 1);
    EXPECT_EQ(step16({0xDE00, 0xD83D}, 2), 1);
}

TEST(Text, IsTextUnicode) {
    const auto test = [](const std::u16string& text, int32_t nTests) {
        std::string unaligned(1, 'x');
        unaligned.append(reinterpret_cast<const char*>(text.data()), text.size() * 2);
        const int32_t nBytes = int32_t(text.size() * 2), nAlone = IsTextUnicode(unaligned.data() + 1, nBytes, nullptr);
        const int32_t nResult = IsTextUnicode(unaligned.data() + 1, nBytes, &nTests);
        return std::vector<int32_t>{nAlone, nResult, nTests};
    };
    const auto reversed = [](std::u16string text) {
        for (auto& ch : text) ch = char16_t(ch << 8 | ch >> 8);
        return text;
    };
    using Results = std::vector<int32_t>;
    EXPECT_EQ(test(u"two words", -1), (Results{1, 1, 0x05}));
    EXPECT_EQ(test(u"two words", 0x04), (Results{1, 1, 0x04}));
    EXPECT_EQ(test(u"two words", 0x22), (Results{1, 0, 0}));  // tests that aren't made
    EXPECT_EQ(test(reversed(u"two words"), -1), (Results{0, 0, 0x50}));
    EXPECT_EQ(test(u"\u4E2D\u3000\u6587", -1), (Results{1, 1, 0x04}));
    EXPECT_EQ(test(u"\u4E2D0\u6587", -1), (Results{0, 0, 0}));
    EXPECT_EQ(test(u"\uFEFF\u4E2D", -1), (Results{1, 1, 0x08}));
    EXPECT_EQ(test(u"\uFEFF\u4E2D", 0x01), (Results{1, 1, 0}));
    EXPECT_EQ(test(reversed(u"\uFEFFa b"), -1), (Results{0, 0, 0x80}));
    for (char16_t chBad : {u'\0', u'\xFFFE', u'\xFFFF', u'\x0A0D'}) {
        std::u16string text = u"two words";
        text[3] = chBad;
        EXPECT_EQ(test(text, 0x104)[1], 0) << int(chBad);
        EXPECT_EQ(test(text, 0x104)[2], 0x100) << int(chBad);
    }
    int32_t nTests = -1;
    EXPECT_EQ(IsTextUnicode("abc", 3, &nTests), 0);
    EXPECT_EQ(nTests, 0x200);
    nTests = 0x101;
    EXPECT_EQ(IsTextUnicode("abc", 3, &nTests), 0);
    EXPECT_EQ(nTests, 0);
    nTests = -1;
    EXPECT_EQ(IsTextUnicode("abc", 0, &nTests), 0);
    EXPECT_EQ(nTests, 0);
    EXPECT_EQ(IsTextUnicode("plain bytes.", 12, nullptr), 0);
}

}  // namespace
