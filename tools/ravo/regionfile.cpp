// Files of regions: the block that R_GetRavoRgnData gives, and contours as SVG.
#include <ravokit/contours.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <sstream>
#include <vector>

#include "failure.h"
#include "outfile.h"
#include "region.h"

namespace ravo {

namespace {

int32_t signedOf(uint32_t n) noexcept { return int32_t(n); }

// Spans of a row: none is empty, and no two touch.
bool isRow(std::span<const uint32_t> words) noexcept {
    for (size_t i = 1; i < words.size(); ++i)
        if (signedOf(words[i - 1]) >= signedOf(words[i])) return false;
    return words.size() % 2 == 0;
}

// Whether words are a region. R_SetRavoRgnData believes what it is given, so all that is promised of one is looked at.
bool isRegion(std::span<const uint32_t> words) noexcept {
    constexpr size_t kRowsAt = 5;  // behind the bounds and the number of rows
    if (words.size() <= kRowsAt || words[4] > (words.size() - kRowsAt - 1) / 2) return false;
    const RECT box{signedOf(words[0]), signedOf(words[1]), signedOf(words[2]), signedOf(words[3])};
    const size_t nRows = words[4];
    const auto rows = words.subspan(kRowsAt, 2 * nRows), spans = words.subspan(kRowsAt + 2 * nRows + 1);
    if (words[kRowsAt + 2 * nRows] != spans.size()) return false;
    if (nRows == 0) return spans.empty() && !box.left && !box.top && !box.right && !box.bottom;
    if (int64_t(box.bottom) - box.top != int64_t(nRows) || !rows.front() || !rows[2 * nRows - 2]) return false;
    const bool bUpward = rows[1] != 0;  // a flip turns the rows round, and not the spans
    int32_t nLeft = INT32_MAX, nRight = INT32_MIN;
    size_t nAt = 0;
    for (size_t i = 0; i < nRows; ++i) {
        const size_t nRow = bUpward ? nRows - 1 - i : i;
        const uint32_t nWords = rows[2 * nRow], nOffset = rows[2 * nRow + 1];
        if (nOffset != (nWords ? nAt * sizeof(uint32_t) : 0) || nWords > spans.size() - nAt) return false;
        if (!nWords) continue;
        const auto row = spans.subspan(nAt, nWords);
        if (!isRow(row)) return false;
        nLeft = std::min(nLeft, signedOf(row.front()));
        nRight = std::max(nRight, signedOf(row.back()));
        nAt += nWords;
    }
    return nAt == spans.size() && nLeft == box.left && nRight == box.right;
}

// Contours, until they are written.
class Lines {
    SEGMENTLINES m_lines{};

public:
    explicit Lines(const RavoRgn& rgn) {
        POINT* pPoints = nullptr;
        uint32_t* pTypes = nullptr;
        int32_t nCount = 0;
        check(R_RegionToSegments(&rgn, &pPoints, &pTypes, &nCount), "R_RegionToSegments");
        const int32_t nStatus = nCount ? R_SegmentsToLines(pPoints, nCount, &m_lines) : 1;
        R_FreeRegionSegments(&pPoints, &pTypes);
        check(nStatus, "R_SegmentsToLines");
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;
    ~Lines() { R_FreeSegmentLines(&m_lines); }

    // Each as Mx,y x,y ...Z and a new line.
    std::string path() const {
        std::ostringstream text;
        for (int32_t i = 0; i < m_lines.nContours; ++i) {
            for (int32_t k = 0; k < m_lines.pPointsPerContour[i]; ++k) {
                const POINT& point = m_lines.ppContourPoints[i][k];
                text << (k ? ' ' : 'M') << point.x << ',' << point.y;
            }
            text << "Z\n";
        }
        return text.str();
    }
};

void saveBytes(std::span<const uint8_t> bytes, const std::string& path) {
    OutputFile output(path);
    writeFile(output.path(), bytes);
    output.commit();
}

}  // namespace

void saveOutline(const Picture& picture, const std::string& path) {
    const SIZE size = viewedSize(*picture);
    const std::string width = std::to_string(size.width), height = std::to_string(size.height);
    const std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" + height +
                             "\" viewBox=\"0 0 " + width + " " + height +
                             "\">\n<path fill=\"none\" fill-rule=\"evenodd\" stroke=\"black\" d=\"" +
                             Lines(*regionOf(picture)).path() + "\"/>\n</svg>\n";
    saveBytes({reinterpret_cast<const uint8_t*>(text.data()), text.size()}, path);
}

void saveRegion(const Picture& picture, const std::string& path) {
    const Region region = regionOf(picture);
    uint32_t nBytes = 0;
    check(R_GetRavoRgnData(region.get(), nullptr, &nBytes), "R_GetRavoRgnData");
    std::vector<uint8_t> bytes(nBytes);
    check(R_GetRavoRgnData(region.get(), bytes.data(), &nBytes), "R_GetRavoRgnData");
    saveBytes(bytes, path);
}

Region loadRegion(const std::string& path) {
    const std::vector<uint8_t> bytes = readFile(path);
    std::vector<uint32_t> words(bytes.size() / sizeof(uint32_t));
    if (!words.empty()) std::memcpy(words.data(), bytes.data(), words.size() * sizeof(uint32_t));
    if (bytes.size() % sizeof(uint32_t) || !isRegion(words)) throw Failure("is no region, or damaged");
    RavoRgn* pRgn = nullptr;
    check(R_SetRavoRgnData(&pRgn, bytes.data()), "R_SetRavoRgnData");
    return Region(pRgn);
}

}  // namespace ravo
