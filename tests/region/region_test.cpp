// Regions against a plane of bytes: whatever is done to a region is done to the plane pixel by pixel.
#include "ravokit/region.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "internal/region_.h"
#include "ravokit/copy.h"
#include "ravokit/objects.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/regions.h"

namespace {

using namespace rv;
using namespace test;

TEST(Region, OperationsAreThoseOfPixels) {
    std::mt19937 random(51);
    const auto within = [&](int from, int to) { return from + int(random() % unsigned(to - from)); };
    for (int i = 0; i < 60; ++i) {
        const Plane a = randomPlane(random), b = randomPlane(random);
        const RegionOwner rgnA(regionOf(a)), rgnB(regionOf(b));
        ASSERT_EQ(planeOf(*rgnA), a);
        for (int k = 0; k < 200; ++k) {
            const int x = within(-40, 40), y = within(-40, 40);
            ASSERT_EQ(R_IsPtInRavoRgn(rgnA.get(), y, x), a.at(x, y)) << x << " " << y;
        }
        for (const int mode : {0, 1, 3, 4, 5}) {
            RegionOwner result;
            ASSERT_EQ(R_CombineRavoRgn(result.out(), rgnA.get(), rgnB.get(), mode), 1);
            ASSERT_EQ(planeOf(*result), Plane::where([&](int x, int y) {
                          const int inA = a.at(x, y), inB = b.at(x, y);
                          return std::array{inA & inB, inA, 0, inA & ~inB, inA | inB, inA ^ inB}[size_t(mode)];
                      }))
                << "mode " << mode << " round " << i;
        }
        // In place, on a copy. after(x, y) tells of the result.
        const auto changes = [&](const char* what, const std::function<int32_t(RavoRgn*)>& change,
                                 const std::function<bool(int, int)>& after) {
            RegionOwner copy;
            ASSERT_EQ(R_CopyRavoRgn(copy.out(), rgnA.get()), 1);
            if (i % 2) R_FlipRavoRgn(copy.get(), 0), R_FlipRavoRgn(copy.get(), 0);
            ASSERT_EQ(change(copy.get()), 1) << what;
            ASSERT_EQ(planeOf(*copy), Plane::where(after)) << what << " round " << i;
        };
        const auto inA = [&](int x, int y) {
            return x >= -kReach && x < kReach && y >= -kReach && y < kReach && a.at(x, y);
        };
        const RECT box{within(-40, 20), within(-30, 10), within(-20, 40), within(-10, 30)};
        changes(
            "clip", [&](RavoRgn* p) { return R_ClipRavoRgnRect(p, &box); },
            [&](int x, int y) {
                return x >= box.left && x < box.right && y >= box.top && y < box.bottom && a.at(x, y);
            });
        const int dx = within(-50, 50), dy = within(-50, 50), width = within(1, 40), height = within(1, 40);
        changes(
            "offset", [&](RavoRgn* p) { return R_OffsetRavoRgn(p, dx, dy); },
            [&](int x, int y) { return inA(x - dx, y - dy); });
        changes(
            "flip", [&](RavoRgn* p) { return R_FlipRavoRgn(p, height); },
            [&](int x, int y) { return inA(x, height - 1 - y); });
        changes(
            "reverse", [&](RavoRgn* p) { return reverseRegion(*p, width), 1; },
            [&](int x, int y) { return inA(width - 1 - x, y); });

        const auto inRaster = [&](int x, int y) { return x >= 0 && x < width && y >= 0 && y < height && a.at(x, y); };
        const std::function<bool(int, int)> turned[] = {
            [&](int x, int y) { return inRaster(y, height - 1 - x); },
            [&](int x, int y) { return inRaster(width - 1 - x, height - 1 - y); },
            [&](int x, int y) { return inRaster(width - 1 - y, x); }};
        for (int quarters = 1; quarters < 4; ++quarters) {
            const bool odd = quarters % 2;
            const auto& after = turned[quarters - 1];
            changes(
                "rotate",
                [&](RavoRgn* p) {
                    return R_RotateRavoRgn(p, width, height, odd ? height : width, odd ? width : height,
                                           quarters * 9000 - 36000 * (i % 3));
                },
                after);
            if (!odd) continue;
            // In a raster that keeps its size, about the middle.
            const int side = height % 2 + 2 * within(1, 20), sum = (side + height) / 2, more = (side - height) / 2;
            const auto sees = [&](int x, int y) { return x >= 0 && x < side && y >= 0 && y < height && a.at(x, y); };
            changes(
                "rotate in place",
                [&](RavoRgn* p) { return R_RotateRavoRgn(p, side, height, side, height, quarters * 9000); },
                [&](int x, int y) {
                    if (x < 0 || x >= side || y < 0 || y >= height) return false;
                    return quarters == 1 ? sees(y + more, sum - 1 - x) : sees(sum - 1 - y, x - more);
                });
        }

        const int num[] = {within(1, 9), within(1, 9)}, den[] = {within(2, 9), within(2, 9)};
        const auto scaled = [&](int v, int axis) { return int(std::llround(double(v) * num[axis] / den[axis])); };
        Plane grown;
        for (int y = -kReach / 3; y < kReach / 3; ++y)
            for (int x = -kReach / 3; x < kReach / 3; ++x)
                if (a.at(x, y)) grown.fill({scaled(x, 0), scaled(y, 1), scaled(x + 1, 0), scaled(y + 1, 1)}, 1);
        if (num[0] < 3 * den[0] && num[1] < 3 * den[1])
            changes(
                "scale", [&](RavoRgn* p) { return R_ScaleRavoRgn(p, num[0], den[0], num[1], den[1]); },
                [&](int x, int y) { return grown.at(x, y); });
    }
}

std::vector<uint8_t> dataOf(const RavoRgn* pRgn) {
    uint32_t size = 0;
    EXPECT_EQ(R_GetRavoRgnData(pRgn, nullptr, &size), 1);
    std::vector<uint8_t> data(size);
    EXPECT_EQ(R_GetRavoRgnData(pRgn, data.data(), &size), 1);
    return data;
}

TEST(Region, DataComesBackAndLyingDataIsRefused) {
    Plane plane;
    plane.fill({-5, -3, 4, 1}, 1);
    plane.fill({-2, -2, 2, 0}, 0);
    plane.fill({7, 4, 9, 6}, 1);
    RegionOwner rgn(regionOf(plane)), back;
    const std::vector<uint8_t> data = dataOf(rgn.get());
    ASSERT_EQ(data.size(), 24 + 8 * 9 + 4 * 16u);
    ASSERT_EQ(R_SetRavoRgnData(back.out(), data.data()), 1);
    EXPECT_EQ(dataOf(back.get()), data);
    uint32_t size = uint32_t(data.size()) + 1;
    std::vector<uint8_t> room(size, 0xA5);
    EXPECT_EQ(R_GetRavoRgnData(rgn.get(), room.data(), &size), -13);
    EXPECT_EQ(R_GetRavoRgnData(nullptr, nullptr, &size), -13);
    EXPECT_EQ(R_GetRavoRgnData(nullptr, room.data(), &size), 1);
    EXPECT_TRUE(size == 0 && room[0] == 0 && room[1] == 0xA5);

    R_FlipRavoRgn(rgn.get(), 3);  // spans in the reverse of the rows' order
    for (const auto& whole : {data, dataOf(rgn.get())}) {
        RegionOwner read;
        ASSERT_EQ(readRegionData(whole.data(), whole.size(), read.out()), 1);
        EXPECT_EQ(dataOf(read.get()), whole);
        for (size_t n = 0; n < whole.size(); ++n) {
            const std::vector<uint8_t> part(whole.begin(), whole.begin() + long(n));
            RavoRgn* p = nullptr;
            ASSERT_EQ(readRegionData(part.data(), n, &p), -13) << n;
        }
        for (size_t word = 0; word < whole.size() / 4; ++word)
            for (const uint32_t flip : {1u, 2u, 4u, 0x40u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
                std::vector<uint8_t> bad = whole;
                for (size_t k = 0; k < 4; ++k) bad[word * 4 + k] ^= uint8_t(flip >> 8 * k);
                RegionOwner maybe;
                const int32_t n = readRegionData(bad.data(), bad.size(), maybe.out());
                ASSERT_TRUE(n == -13 || (n == 1 && isWellFormed(*maybe) && dataOf(maybe.get()) == bad)) << word;
            }
    }
}

TEST(Region, StatusesAndEdges) {
    RavoRgn* p = nullptr;
    const RECT box{2, 3, 9, 8}, narrow{4, 0, 4, 9}, outside{20, 20, 30, 30};
    EXPECT_EQ(R_CreateRavoRgnRect(nullptr, &box), -13);
    EXPECT_EQ(R_CreateRavoRgnRect(&p, nullptr), -13);
    ASSERT_EQ(CreateRavoRgnRect(&p, &narrow), 1);
    const RegionOwner empty(p);
    ASSERT_EQ(R_CreateRavoRgnRect(&p, &box), 1);
    const RegionOwner rgn(p);
    const std::vector<uint8_t> before = dataOf(rgn.get());
    EXPECT_TRUE(isWellFormed(*empty) && isWellFormed(*rgn));
    for (const int mode : {-1, 2, 6}) EXPECT_EQ(R_CombineRavoRgn(&p, rgn.get(), rgn.get(), mode), -13);
    for (const int mode : {0, 3, 4, 5}) EXPECT_EQ(R_CombineRavoRgn(&p, rgn.get(), nullptr, mode), -13);
    EXPECT_EQ(CombineRavoRgn(nullptr, rgn.get(), rgn.get(), 1), -13);
    for (const int angle : {4500, 1, -8999}) EXPECT_EQ(R_RotateRavoRgn(rgn.get(), 9, 9, 9, 9, angle), -13);
    EXPECT_EQ(R_RotateRavoRgn(rgn.get(), 1, 1, 1, 1, -72000), 1);
    EXPECT_EQ(R_ScaleRavoRgn(rgn.get(), 1, 0, 1, 1), -13);
    EXPECT_EQ(R_ScaleRavoRgn(rgn.get(), 1, 1, 1, 0), -13);
    EXPECT_EQ(R_OffsetRavoRgn(rgn.get(), INT32_MAX, 0), -13);  // out of 32 bits
    EXPECT_EQ(R_FlipRavoRgn(rgn.get(), INT32_MIN), -13);
    EXPECT_EQ(reverseRegion(*rgn, INT32_MIN), -13);
    for (const int32_t status :
         {R_DeleteRavoRgn(nullptr), R_ClipRavoRgnRect(nullptr, &box), R_ClipRavoRgnRect(rgn.get(), nullptr),
          R_OffsetRavoRgn(nullptr, 1, 1), R_FlipRavoRgn(nullptr, 1), R_RotateRavoRgn(nullptr, 1, 1, 1, 1, 9000),
          R_ScaleRavoRgn(nullptr, 1, 2, 1, 2), UpdateRegionViewPerspective(nullptr, 1, 2, 1, 1),
          R_CopyRavoRgn(nullptr, rgn.get()), R_SetRavoRgnData(&p, nullptr), R_CloneRavoRgn(nullptr, &p, nullptr)})
        EXPECT_EQ(status, -13);
    EXPECT_EQ(dataOf(rgn.get()), before);
    EXPECT_EQ(R_IsPtInRgn(nullptr, 0, 0), 0);

    EXPECT_EQ(R_OffsetRavoRgn(empty.get(), 5, 5), 1);
    EXPECT_EQ(R_FlipRavoRgn(empty.get(), 5), 1);
    EXPECT_EQ(reverseRegion(*empty, 5), 1);
    EXPECT_TRUE(isWellFormed(*empty));

    // The cache stays while the shape does, and a copy has its own, without the view.
    RECT bounds;
    rgn.get()->hDisplayRgn = CreateRectRgn(1, 2, 3, 4);
    rgn.get()->DisplayMapping.XOffset = 77;
    rgn.get()->DisplayBitmapView = 4;
    const RECT around{0, 0, 50, 50};
    R_OffsetRavoRgn(rgn.get(), 0, 0);
    R_ClipRavoRgnRect(rgn.get(), &around);
    ASSERT_TRUE(rgn.get()->hDisplayRgn);
    const RegionOwner copy(R_CopyRavoRgnPtr(rgn.get(), nullptr));
    EXPECT_NE(copy.get()->hDisplayRgn, rgn.get()->hDisplayRgn);
    EXPECT_EQ(GetRgnBox(copy.get()->hDisplayRgn, &bounds), 2);
    EXPECT_TRUE(bounds.left == 1 && bounds.bottom == 4);
    EXPECT_TRUE(copy.get()->DisplayMapping.XOffset == 77 && copy.get()->DisplayBitmapView == 0);
    R_OffsetRavoRgn(copy.get(), 0, 1);
    EXPECT_FALSE(copy.get()->hDisplayRgn);
    EXPECT_EQ(R_ClipRavoRgnRect(rgn.get(), &outside), 1);
    EXPECT_TRUE(isWellFormed(*rgn) && !rgn.get()->RowTableSize && !rgn.get()->hDisplayRgn);
}

TEST(Region, ExtremesEndWithAnAnswer) {
    RavoRgn* p = nullptr;
    const RECT tall{0, INT32_MIN, 1, INT32_MAX}, wide{INT32_MIN, -1, INT32_MAX, 1},
        corner{-3, INT32_MIN, 0, INT32_MIN + 2};
    EXPECT_EQ(R_CreateRavoRgnRect(&p, &tall), -1);
    ASSERT_EQ(R_CreateRavoRgnRect(&p, &wide), 1);
    const RegionOwner widest(p);
    ASSERT_EQ(R_CreateRavoRgnRect(&p, &corner), 1);
    const RegionOwner far(p);
    EXPECT_EQ(R_CombineRavoRgn(&p, widest.get(), far.get(), 4), -1);  // two thousand million rows
    for (const auto& [num, den] : {std::pair{3, 2}, {-1, -1}, {-1, 1}, {INT32_MIN, -3}, {INT32_MAX, INT32_MIN}, {1, 9}})
        for (const RavoRgn* pFrom : {widest.get(), far.get()}) {
            const RegionOwner copy(R_CopyRavoRgnPtr(pFrom, nullptr));
            const int32_t status = R_ScaleRavoRgn(copy.get(), num, den, 1, 3);
            ASSERT_TRUE((status == 1 || status == -1) && isWellFormed(*copy)) << num << "/" << den;
        }
    EXPECT_EQ(R_RotateRavoRgn(widest.get(), INT32_MAX, 9, 9, INT32_MAX, 9000), -1);
    EXPECT_TRUE(widest.get()->rcBounds.left == INT32_MIN && widest.get()->rcBounds.right == INT32_MAX);
}

struct Handle {
    RVHANDLE h;
    ~Handle() { DeleteObject(h); }
    RavoRgn& region() const { return *static_cast<RavoRgn*>(h->pBlock); }
};

std::vector<RECT> listOf(const std::vector<RECT>& rects) {
    std::vector<RECT> list(2);
    const RGNDATA header{32, 1, uint32_t(rects.size()), uint32_t(rects.size()) * 16, {}};
    std::memcpy(list.data(), &header, sizeof header);
    list.insert(list.end(), rects.begin(), rects.end());
    return list;
}
RVHANDLE handleOf(const std::vector<RECT>& list, const float* transform = nullptr) {
    return ExtCreateRegion(transform, uint32_t(list.size() * 16), reinterpret_cast<const RGNDATA*>(list.data()));
}
RVHANDLE listHandle(const std::vector<RECT>& rects, const float* transform = nullptr) {
    return handleOf(listOf(rects), transform);
}

TEST(Region, ListsOfRectanglesAreTheirUnion) {
    std::mt19937 random(52);
    const auto below = [&](int n) { return int(random() % unsigned(n)); };
    const float transform[6] = {0.5f, 0.25f, -0.125f, 1.5f, 3.75f, -2.5f};
    for (int i = 0; i < 200; ++i) {
        std::vector<RECT> rects;
        Plane plane, moved;
        for (int k = 1 + below(i % 2 ? 4 : 40); k > 0; --k) {
            const int left = below(60) - 30, top = below(60) - 30;
            const RECT r{left, top, left + below(16) - 2, top + below(12) - 2};
            rects.push_back(r);
            plane.fill(r, 1);
            const auto x = [&](int cx, int cy) { return int(0.5 * cx - 0.25 * cy + 3.75); };
            const auto y = [&](int cx, int cy) { return int(1.5 * cy + 0.125 * cx - 2.5); };
            const int x0 = x(r.left, r.top), x1 = x(r.right, r.bottom), y0 = y(r.left, r.top),
                      y1 = y(r.right, r.bottom);
            moved.fill({std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)}, 1);
        }
        const Handle h{listHandle(rects)}, hMoved{listHandle(rects, transform)};
        ASSERT_TRUE(h.h && hMoved.h);
        ASSERT_EQ(planeOf(h.region()), plane) << i;
        ASSERT_EQ(planeOf(hMoved.region()), moved) << i;
        // Out as a list, and in again.
        const uint32_t size = GetRegionData(h.h, 0, nullptr);
        std::vector<RECT> list(size / sizeof(RECT) + 1, RECT{9, 9, 9, 9});
        auto* const pData = reinterpret_cast<RGNDATA*>(list.data());
        ASSERT_EQ(GetRegionData(h.h, size - 1, pData), size);
        ASSERT_EQ(list[0].left, 9);
        ASSERT_EQ(GetRegionData(h.h, size, pData), size);
        ASSERT_TRUE(list.back().left == 9 && pData->nCount * 16 + 32 == size);
        const Handle back{ExtCreateRegion(nullptr, size, pData)};
        ASSERT_EQ(planeOf(back.region()), plane) << i;
        ASSERT_EQ(ExtCreateRegion(nullptr, size - 1, pData), nullptr);
        pData->uType = 2;
        ASSERT_EQ(ExtCreateRegion(nullptr, size, pData), nullptr);
    }
    EXPECT_EQ(listHandle({}), nullptr);
    EXPECT_EQ(listHandle({{0, INT32_MIN, 1, INT32_MIN + 1}, {0, INT32_MAX - 1, 1, INT32_MAX}}), nullptr);
    const Handle wide{listHandle({{INT32_MIN, 7, INT32_MAX, 8}, {INT32_MAX, 0, INT32_MIN, 9}, {0, 7, 1, 8}})};
    ASSERT_TRUE(wide.h);
    EXPECT_TRUE(isWellFormed(wide.region()) && PtInRegion(wide.h, INT32_MAX - 1, 7) && !PtInRegion(wide.h, 0, 6));
    const float far[6] = {3e38f, NAN, 0, 1, -3e38f, INFINITY};
    const Handle anywhere{listHandle({{0, 0, 1, 1}}, far)};
    EXPECT_TRUE(anywhere.h && isWellFormed(anywhere.region()));
}

TEST(Region, Handles) {
    const Handle a{CreateRectRgn(10, 10, 5, 5)}, b{R_WinCreateRectRgn(8, 5, 20, 10)},
        other{R_OsAllocHandle(0, 8, 0, nullptr)};
    const long blocks = faults::liveBlocks();
    RECT box{};
    EXPECT_EQ(GetRgnBox(a.h, &box), 2);
    EXPECT_TRUE(box.left == 5 && box.top == 5 && box.right == 10 && box.bottom == 10);
    for (const int mode : {0, 6}) EXPECT_EQ(CombineRgn(a.h, a.h, b.h, mode), 0);
    EXPECT_EQ(CombineRgn(a.h, a.h, other.h, 2), 0);
    const struct {
        int mode, type;
        RECT box;
    } expected[] = {{3, 3, {5, 5, 20, 10}}, {2, 2, {5, 5, 20, 10}}, {4, 2, {5, 5, 8, 10}}, {1, 1, {0, 0, 0, 0}}};
    for (const auto& e : expected) {  // each goes on from the one before
        EXPECT_EQ(CombineRgn(a.h, a.h, b.h, e.mode), e.type) << e.mode;
        GetRgnBox(a.h, &box);
        EXPECT_EQ(std::memcmp(&box, &e.box, sizeof box), 0) << e.mode;
    }
    EXPECT_EQ(OffsetRgn(b.h, 2, -5), 1);
    EXPECT_TRUE(PtInRegion(b.h, 21, 0) && !PtInRegion(b.h, 9, 0) && !PtInRegion(b.h, 10, 5));
    EXPECT_EQ(GetRegionData(a.h, 0, nullptr), 48u);
    EXPECT_EQ(faults::liveBlocks() - blocks, -4);  // an empty region has no tables
    EXPECT_EQ(SetRectRgn(a.h, 3, 3, 1, 9), 1);     // corners as they come
    EXPECT_EQ(GetRgnBox(a.h, &box), 1);
    for (const RVHANDLE bad : {RVHANDLE(nullptr), RVHANDLE(UINTPTR_MAX), other.h}) {
        RavoRgn* p = nullptr;
        EXPECT_EQ(R_ConvertHandleToRgn(bad, &p), -13);
        EXPECT_EQ(SetRectRgn(bad, 0, 0, 1, 1) + OffsetRgn(bad, 0, 0) + GetRgnBox(bad, &box) + PtInRegion(bad, 0, 0), 0);
        EXPECT_EQ(GetRegionData(bad, 0, nullptr), 0u);
    }
}

// Every operation with memory that ends at each of its allocations: -1, the region as before, nothing kept.
TEST(Region, MemoryRunsOut) {
    std::mt19937 random(53);
    const Plane plane =
        Plane::where([&](int x, int y) { return std::abs(x) < 40 && std::abs(y) < 30 && random() % 2; });
    const RegionOwner rgn(regionOf(plane)), other(regionOf(Plane::where([](int x, int y) { return x + y < 3; })));
    rgn.get()->hDisplayRgn = CreateRectRgn(0, 0, 5, 5);
    const RECT half{0, 0, 100, 100};
    const std::vector<uint8_t> before = dataOf(rgn.get());
    const std::vector<RECT> list = listOf({{0, 0, 9, 9}, {3, 3, 5, 20}});
    const auto made = [](int32_t status, RavoRgn*& p) {  // by reference: set while arguments are evaluated
        return p ? R_DeleteRavoRgn(p), status : status;
    };
    const std::function<int32_t(RavoRgn*)> operations[] = {
        [&](RavoRgn* p) {
            RavoRgn* r = nullptr;
            return made(R_CombineRavoRgn(&r, p, other.get(), 4), r);
        },
        [&](RavoRgn* p) {
            RavoRgn* r = nullptr;
            return made(R_CopyRavoRgn(&r, p), r);
        },
        [&](RavoRgn* p) { return R_ClipRavoRgnRect(p, &half); },
        [&](RavoRgn* p) { return R_RotateRavoRgn(p, 35, 28, 28, 35, 9000); },
        [&](RavoRgn* p) { return R_ScaleRavoRgn(p, 7, 2, 9, 2); },
        [&](RavoRgn*) {
            RVHANDLE h = handleOf(list);
            return h ? DeleteObject(h) : -1;
        },
        [&](RavoRgn*) {
            RavoRgn* r = nullptr;
            return made(R_SetRavoRgnData(&r, before.data()), r);
        }};
    for (size_t which = 0; which < std::size(operations); ++which) {
        const RegionOwner copy(R_CopyRavoRgnPtr(rgn.get(), nullptr));
        int32_t status = 0;
        for (int n = 0; status != 1; ++n) {
            const long blocks = faults::liveBlocks();
            {
                const faults::FailFromNthAllocation fail(n);
                status = operations[which](copy.get());
            }
            ASSERT_EQ(status, n < 3 || status != 1 ? -1 : 1) << which << " " << n;
            if (status == 1) break;  // perhaps with a table that could not be trimmed
            ASSERT_EQ(faults::liveBlocks(), blocks) << which << " " << n;
            ASSERT_EQ(dataOf(copy.get()), before) << which << " " << n;
            ASSERT_TRUE(copy.get()->hDisplayRgn);
        }
    }
}

TEST(Region, FollowsTheBitmap) {
    const RECT box{2, 1, 6, 4};
    const auto copyAndFree = [&] {
        BITMAPRECORD bm, copy;
        ASSERT_EQ(R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, 8, 5, 8, ORDER_RGB, nullptr, TOP_LEFT, nullptr, 0),
                  1);
        ASSERT_EQ(R_CreateRavoRgnRect(&bm.pRgnInfo, &box), 1);
        ASSERT_EQ(R_CopyBitmap(&copy, &bm, sizeof copy), 1);
        ASSERT_TRUE(copy.pRgnInfo && copy.pRgnInfo != bm.pRgnInfo);
        EXPECT_EQ(dataOf(copy.pRgnInfo), dataOf(bm.pRgnInfo));
        R_FreeBitmap(&bm);
        R_FreeBitmap(&copy);
    };
    copyAndFree();  // the first bitmap of a thread leaves what the thread keeps
    const long blocks = faults::liveBlocks();
    copyAndFree();
    EXPECT_EQ(faults::liveBlocks(), blocks);
}

}  // namespace
