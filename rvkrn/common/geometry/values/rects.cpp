// Integer sizes and rectangles, and the integer square root.
#include <algorithm>

#include "ravokit/numeric.h"

namespace rv {
namespace {

int32_t wrapAdd(int32_t a, int32_t b) noexcept { return static_cast<int32_t>(uint32_t(a) + uint32_t(b)); }
int32_t wrapSubtract(int32_t a, int32_t b) noexcept { return static_cast<int32_t>(uint32_t(a) - uint32_t(b)); }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" void R_Size_Make(SIZE* s, int32_t w, int32_t h) noexcept { *s = {w, h}; }
extern "C" void R_Size_Empty(SIZE* s) noexcept { *s = {0, 0}; }
extern "C" int32_t R_Size_IsEmpty(const SIZE* s) noexcept { return s->width == 0 && s->height == 0; }
extern "C" int32_t R_Size_IsEqual(const SIZE* a, const SIZE* b) noexcept {
    return a->width == b->width && a->height == b->height;
}
extern "C" void R_Size_ToSizeD(const SIZE* s, SizeD* out) noexcept {
    *out = {static_cast<double>(s->width), static_cast<double>(s->height)};
}

extern "C" void R_Rect_Make(RECT* r, int32_t x, int32_t y, int32_t w, int32_t h) noexcept {
    *r = {x, y, wrapAdd(x, w), wrapAdd(y, h)};
}
extern "C" void R_Rect_FromLTRB(RECT* r, int32_t l, int32_t t, int32_t rt, int32_t b) noexcept {
    *r = {std::min(l, rt), std::min(t, b), std::max(l, rt), std::max(t, b)};
}
extern "C" void R_Rect_Empty(RECT* r) noexcept { *r = {0, 0, 0, 0}; }
extern "C" int32_t R_Rect_IsEmpty(const RECT* r) noexcept { return r->right == r->left && r->bottom == r->top; }
extern "C" int32_t R_Rect_IsEqual(const RECT* a, const RECT* b) noexcept {
    return a->left == b->left && a->top == b->top && a->right == b->right && a->bottom == b->bottom;
}

extern "C" int32_t R_Rect_Width(const RECT* r) noexcept { return wrapSubtract(r->right, r->left); }
extern "C" int32_t R_Rect_Height(const RECT* r) noexcept { return wrapSubtract(r->bottom, r->top); }
extern "C" void R_Rect_Size(const RECT* r, SIZE* out) noexcept { *out = {R_Rect_Width(r), R_Rect_Height(r)}; }
extern "C" void R_Rect_TopLeft(const RECT* r, POINT* out) noexcept { *out = {r->left, r->top}; }
extern "C" void R_Rect_TopRight(const RECT* r, POINT* out) noexcept { *out = {r->right, r->top}; }
extern "C" void R_Rect_BottomRight(const RECT* r, POINT* out) noexcept { *out = {r->right, r->bottom}; }
extern "C" void R_Rect_BottomLeft(const RECT* r, POINT* out) noexcept { *out = {r->left, r->bottom}; }

extern "C" int32_t R_Rect_ContainsPoint(const RECT* r, const POINT* p) noexcept {
    return r->left <= p->x && p->x < r->right && r->top <= p->y && p->y < r->bottom;
}
extern "C" int32_t R_Rect_ContainsRect(const RECT* r, const RECT* q) noexcept {
    return r->left <= q->left && q->right <= r->right && r->top <= q->top && q->bottom <= r->bottom;
}
extern "C" int32_t R_Rect_IntersectsWith(const RECT* a, const RECT* b) noexcept {
    return b->left < a->right && a->left < b->right && b->top < a->bottom && a->top < b->bottom;
}

extern "C" void R_Rect_Inflate(RECT* r, const SIZE* s) noexcept {
    *r = {wrapSubtract(r->left, s->width), wrapSubtract(r->top, s->height), wrapAdd(r->right, s->width),
          wrapAdd(r->bottom, s->height)};
}
extern "C" void R_Rect_Offset(RECT* r, const POINT* p) noexcept {
    *r = {wrapAdd(r->left, p->x), wrapAdd(r->top, p->y), wrapAdd(r->right, p->x), wrapAdd(r->bottom, p->y)};
}
extern "C" void R_Rect_Intersect(RECT* out, const RECT* a, const RECT* b) noexcept {
    const RECT both = {std::max(a->left, b->left), std::max(a->top, b->top), std::min(a->right, b->right),
                       std::min(a->bottom, b->bottom)};
    *out = both.right >= both.left && both.bottom >= both.top ? both : RECT{0, 0, 0, 0};
}
extern "C" void R_Rect_Union(RECT* out, const RECT* a, const RECT* b) noexcept {
    R_Rect_FromLTRB(out, std::min(a->left, b->left), std::min(a->top, b->top), std::max(a->right, b->right),
                    std::max(a->bottom, b->bottom));
}

extern "C" void R_Rect_ToRectD(const RECT* r, RectD* out) noexcept {
    R_RectD_FromLTRB(out, r->left, r->top, r->right, r->bottom);
}

// Newton's steps; the mean of x and n / x is taken without a sum that could leave 32 bits.
extern "C" uint32_t R_SQRT(uint32_t n) noexcept {
    if (n < 4) return n != 0;
    for (uint32_t x = n >> 1;;) {
        const uint32_t q = n / x, uHalf = (std::max(x, q) - std::min(x, q)) / 2;
        x = std::min(x, q) + uHalf;
        if (uHalf == 0) return x;
    }
}
