// Value types and their helpers: tolerant comparison of doubles, 2D affine matrices, rectangles, points, sizes,
// lengths.
//
// Every function is a pure computation on values that the caller owns. Records go by address; an address is trusted and
// never null. A function reads its arguments before it writes its result, so a result may be one of the arguments.
// Predicates return 1 or 0.
//
// Integer coordinates wrap around modulo 2^32 where they leave the range. A double becomes an integer by adding a half
// away from zero and dropping the fraction; beyond the range it gives the nearest end of it, and a NaN gives 0. The sum
// is a double too: 0.49999999999999994, the last below a half, gives 1.
#pragma once

#include "types.h"

RV_C_BEGIN

/// A point of doubles. Empty: both fields NaN.
typedef struct PointD {
    double X, Y;
} PointD;

/// A size of doubles. Empty: Width or Height is exactly DBL_MIN.
typedef struct SizeD {
    double Width, Height;
} SizeD;

/// A rectangle of doubles. Empty: Width or Height is exactly DBL_MIN. Sizes may be negative.
typedef struct RectD {
    double X, Y, Width, Height;
} RectD;

typedef struct LengthD {
    double Value;
} LengthD;

/// An affine map of row vectors: x' = x M11 + y M21 + OffsetX, y' = x M12 + y M22 + OffsetY. Type says which fields
/// matter: 0 identity (the fields don't count: a record of zeros is an identity), 1 translation, 2 scaling,
/// 3 scaling and translation, 4 general.
typedef struct MATRIX {
    double M11, M12, M21, M22, OffsetX, OffsetY;
    uint32_t Type;
} MATRIX;

// ---- Doubles ----

/// Equal, or nearer than (|a| + |b| + 10) machine epsilons.
RV_API int32_t R_Double_AreClose(double a, double b) RV_NOEXCEPT;
/// a < b and not close.
RV_API int32_t R_Double_LessThan(double a, double b) RV_NOEXCEPT;
/// a > b and not close.
RV_API int32_t R_Double_GreaterThan(double a, double b) RV_NOEXCEPT;
/// a < b or close.
RV_API int32_t R_Double_LessThanOrClose(double a, double b) RV_NOEXCEPT;
/// a > b or close.
RV_API int32_t R_Double_GreaterThanOrClose(double a, double b) RV_NOEXCEPT;
/// Within ten machine epsilons of 1.
RV_API int32_t R_Double_IsOne(double a) RV_NOEXCEPT;
/// Within ten machine epsilons of 0.
RV_API int32_t R_Double_IsZero(double a) RV_NOEXCEPT;
/// From 0 to 1, where what is close (R_Double_AreClose) to an end counts as inside.
RV_API int32_t R_Double_IsBetweenZeroAndOne(double a) RV_NOEXCEPT;
/// Both fields close.
RV_API int32_t R_Double_AreClosePoints(const PointD* a, const PointD* b) RV_NOEXCEPT;
/// Both fields close; empty sizes are nothing special.
RV_API int32_t R_Double_AreCloseSizes(const SizeD* a, const SizeD* b) RV_NOEXCEPT;
/// All four fields close; an empty rectangle is close to every empty one and to no other.
RV_API int32_t R_Double_AreCloseRects(const RectD* a, const RectD* b) RV_NOEXCEPT;
/// Rounds as told above.
RV_API int32_t R_Double_DoubleToInt(double a) RV_NOEXCEPT;
/// Any field is NaN.
RV_API int32_t R_Double_RectHasNaN(const RectD* r) RV_NOEXCEPT;
RV_API int32_t R_Double_IsNaN(double a) RV_NOEXCEPT;
/// Not finite: true of a NaN too.
RV_API int32_t R_Double_IsInfinity(double a) RV_NOEXCEPT;
/// Brings degrees into 0 to 360 by whole turns. 360 itself stays, and so every higher multiple of 360 becomes 360 and
/// every negative one 0. The turns are taken off exactly, however many there are; adding the last one to a negative
/// remainder rounds once. A NaN or an infinite angle gives NaN.
RV_API double R_Double_NormalizeAngle(double a) RV_NOEXCEPT;

// ---- Matrices ----
//
// Angles are in degrees, brought into range by R_Double_NormalizeAngle. Sines, cosines and tangents are computed in
// extended precision and rounded once, so that they don't depend on the processor or the data model.
// A Type above 4 acts as 4.

/// Makes an identity.
RV_API void R_Matrix_Identity(MATRIX* m) RV_NOEXCEPT;
/// Stores the six fields and classifies: a matrix with M12 or M21 is of Type 4; otherwise bit 2 stands for a scale that
/// isn't 1, bit 1 for an offset that isn't 0.
RV_API void R_Matrix_Set(MATRIX* m, double m11, double m12, double m21, double m22, double dx, double dy) RV_NOEXCEPT;
/// Type 0, or exactly the values of an identity.
RV_API int32_t R_Matrix_IsIdentity(const MATRIX* m) RV_NOEXCEPT;
/// Both identities; if neither is of Type 0, six fields that are exactly equal. Type itself is not compared.
RV_API int32_t R_Matrix_IsEqual(const MATRIX* a, const MATRIX* b) RV_NOEXCEPT;
RV_API double R_Matrix_Determinant(const MATRIX* m) RV_NOEXCEPT;
/// The determinant is not within ten machine epsilons of 0.
RV_API int32_t R_Matrix_HasInverse(const MATRIX* m) RV_NOEXCEPT;
/// Inverts m and returns 1; returns 0 and leaves m as it is without R_Matrix_HasInverse. Type is kept.
RV_API int32_t R_Matrix_Invert(MATRIX* m) RV_NOEXCEPT;

/// A field; that of an identity for Type 0.
RV_API double R_Matrix_GetM11(const MATRIX* m) RV_NOEXCEPT;
RV_API double R_Matrix_GetM12(const MATRIX* m) RV_NOEXCEPT;
RV_API double R_Matrix_GetM21(const MATRIX* m) RV_NOEXCEPT;
RV_API double R_Matrix_GetM22(const MATRIX* m) RV_NOEXCEPT;
RV_API double R_Matrix_GetOffsetX(const MATRIX* m) RV_NOEXCEPT;
RV_API double R_Matrix_GetOffsetY(const MATRIX* m) RV_NOEXCEPT;
/// Stores one field; Type 0 fills the others with identity first. Type gains what the field stands for (2 for M11 and
/// M22, 1 for the offsets; it is 4 after M12 and M21), whatever the value, and never loses anything.
RV_API void R_Matrix_SetM11(MATRIX* m, double value) RV_NOEXCEPT;
RV_API void R_Matrix_SetM12(MATRIX* m, double value) RV_NOEXCEPT;
RV_API void R_Matrix_SetM21(MATRIX* m, double value) RV_NOEXCEPT;
RV_API void R_Matrix_SetM22(MATRIX* m, double value) RV_NOEXCEPT;
RV_API void R_Matrix_SetOffsetX(MATRIX* m, double value) RV_NOEXCEPT;
RV_API void R_Matrix_SetOffsetY(MATRIX* m, double value) RV_NOEXCEPT;

/// out = a x b: a acts first. The Types choose the arithmetic and decide that of the result; only a product with a
/// general matrix is classified anew.
RV_API void R_Matrix_Multiply(MATRIX* out, const MATRIX* a, const MATRIX* b) RV_NOEXCEPT;
/// m = m x x.
RV_API void R_Matrix_Append(MATRIX* m, const MATRIX* x) RV_NOEXCEPT;
/// m = x x m.
RV_API void R_Matrix_Prepend(MATRIX* m, const MATRIX* x) RV_NOEXCEPT;
/// Rotation by a degrees from the x axis towards the y axis, about the origin or about (cx, cy), after or (Prepend)
/// before m.
RV_API void R_Matrix_Rotate(MATRIX* m, double a) RV_NOEXCEPT;
RV_API void R_Matrix_RotatePrepend(MATRIX* m, double a) RV_NOEXCEPT;
RV_API void R_Matrix_RotateAt(MATRIX* m, double a, double cx, double cy) RV_NOEXCEPT;
RV_API void R_Matrix_RotateAtPrepend(MATRIX* m, double a, double cx, double cy) RV_NOEXCEPT;
/// Scaling about the origin or about (cx, cy), after or (Prepend) before m.
RV_API void R_Matrix_Scale(MATRIX* m, double sx, double sy) RV_NOEXCEPT;
RV_API void R_Matrix_ScalePrepend(MATRIX* m, double sx, double sy) RV_NOEXCEPT;
RV_API void R_Matrix_ScaleAt(MATRIX* m, double sx, double sy, double cx, double cy) RV_NOEXCEPT;
RV_API void R_Matrix_ScaleAtPrepend(MATRIX* m, double sx, double sy, double cx, double cy) RV_NOEXCEPT;
/// Skew: x gains y tan(ax), y gains x tan(ay); after or (Prepend) before m.
RV_API void R_Matrix_Skew(MATRIX* m, double ax, double ay) RV_NOEXCEPT;
RV_API void R_Matrix_SkewPrepend(MATRIX* m, double ax, double ay) RV_NOEXCEPT;
/// Translation after or (Prepend) before m.
RV_API void R_Matrix_Translate(MATRIX* m, double dx, double dy) RV_NOEXCEPT;
RV_API void R_Matrix_TranslatePrepend(MATRIX* m, double dx, double dy) RV_NOEXCEPT;

RV_API void R_Matrix_TransformPoint(const MATRIX* m, PointD* p) RV_NOEXCEPT;
/// Transforms the n points at p; none where n is not positive.
RV_API void R_Matrix_TransformPoints(const MATRIX* m, PointD* p, int32_t n) RV_NOEXCEPT;
/// The linear part alone, without the offsets.
RV_API void R_Matrix_TransformVector(const MATRIX* m, PointD* v) RV_NOEXCEPT;
/// Scales and moves r, and turns negative sizes round; a general matrix gives the bounding box of the four corners, as
/// R_RectD_TopLeft and its siblings tell them. An empty rectangle stays, and so does every one under Type 0.
RV_API void R_Matrix_TransformRect(const MATRIX* m, RectD* r) RV_NOEXCEPT;

// ---- Integer sizes and rectangles ----

RV_API void R_Size_Make(SIZE* s, int32_t w, int32_t h) RV_NOEXCEPT;
/// Makes an empty size: both fields 0.
RV_API void R_Size_Empty(SIZE* s) RV_NOEXCEPT;
RV_API int32_t R_Size_IsEmpty(const SIZE* s) RV_NOEXCEPT;
RV_API int32_t R_Size_IsEqual(const SIZE* a, const SIZE* b) RV_NOEXCEPT;
RV_API void R_Size_ToSizeD(const SIZE* s, SizeD* out) RV_NOEXCEPT;

RV_API void R_Rect_Make(RECT* r, int32_t x, int32_t y, int32_t w, int32_t h) RV_NOEXCEPT;
/// Orders each pair: the lesser is left or top.
RV_API void R_Rect_FromLTRB(RECT* r, int32_t l, int32_t t, int32_t rt, int32_t b) RV_NOEXCEPT;
/// Sets all four fields to 0.
RV_API void R_Rect_Empty(RECT* r) RV_NOEXCEPT;
/// Width and height are both 0: a rectangle with only one of them 0 is not empty.
RV_API int32_t R_Rect_IsEmpty(const RECT* r) RV_NOEXCEPT;
RV_API int32_t R_Rect_IsEqual(const RECT* a, const RECT* b) RV_NOEXCEPT;
RV_API int32_t R_Rect_Width(const RECT* r) RV_NOEXCEPT;
RV_API int32_t R_Rect_Height(const RECT* r) RV_NOEXCEPT;
RV_API void R_Rect_Size(const RECT* r, SIZE* out) RV_NOEXCEPT;
RV_API void R_Rect_TopLeft(const RECT* r, POINT* out) RV_NOEXCEPT;
RV_API void R_Rect_TopRight(const RECT* r, POINT* out) RV_NOEXCEPT;
RV_API void R_Rect_BottomRight(const RECT* r, POINT* out) RV_NOEXCEPT;
RV_API void R_Rect_BottomLeft(const RECT* r, POINT* out) RV_NOEXCEPT;
/// Right and bottom are outside.
RV_API int32_t R_Rect_ContainsPoint(const RECT* r, const POINT* p) RV_NOEXCEPT;
/// q lies in r; shared edges are inside.
RV_API int32_t R_Rect_ContainsRect(const RECT* r, const RECT* q) RV_NOEXCEPT;
/// Moves each edge outwards by the size.
RV_API void R_Rect_Inflate(RECT* r, const SIZE* s) RV_NOEXCEPT;
/// What a and b share, a rectangle without width or height where they only touch; all 0 where they are apart.
RV_API void R_Rect_Intersect(RECT* out, const RECT* a, const RECT* b) RV_NOEXCEPT;
/// a and b share more than an edge.
RV_API int32_t R_Rect_IntersectsWith(const RECT* a, const RECT* b) RV_NOEXCEPT;
/// From the lesser lefts and tops to the greater rights and bottoms, ordered as by R_Rect_FromLTRB. Empty rectangles
/// count like any other.
RV_API void R_Rect_Union(RECT* out, const RECT* a, const RECT* b) RV_NOEXCEPT;
RV_API void R_Rect_Offset(RECT* r, const POINT* p) RV_NOEXCEPT;
/// R_RectD_FromLTRB of the four fields.
RV_API void R_Rect_ToRectD(const RECT* r, RectD* out) RV_NOEXCEPT;

// ---- Points, sizes, rectangles and lengths of doubles ----

/// Makes an empty point: both fields NaN, with all bits but the sign set.
RV_API void R_PointD_Empty(PointD* p) RV_NOEXCEPT;
RV_API int32_t R_PointD_IsEmpty(const PointD* p) RV_NOEXCEPT;
/// Both fields close; an empty point is equal to every empty one and to no other.
RV_API int32_t R_PointD_IsEqual(const PointD* a, const PointD* b) RV_NOEXCEPT;
/// R_Matrix_TransformPoint.
RV_API void R_PointD_Multiply(PointD* p, const MATRIX* m) RV_NOEXCEPT;
/// Rounds; an empty point gives (0, 0).
RV_API void R_PointD_ToPoint(const PointD* p, POINT* out) RV_NOEXCEPT;

RV_API void R_SizeD_Make(SizeD* s, double w, double h) RV_NOEXCEPT;
/// Makes an empty size: both fields DBL_MIN.
RV_API void R_SizeD_Empty(SizeD* s) RV_NOEXCEPT;
RV_API int32_t R_SizeD_IsEmpty(const SizeD* s) RV_NOEXCEPT;
/// If a is empty, b is; otherwise both fields are close. So an empty b may equal an a that is near 0 but not empty.
RV_API int32_t R_SizeD_IsEqual(const SizeD* a, const SizeD* b) RV_NOEXCEPT;
/// Rounds; an empty size gives (0, 0).
RV_API void R_SizeD_ToSize(const SizeD* s, SIZE* out) RV_NOEXCEPT;

/// Stores; negative sizes are kept.
RV_API void R_RectD_Make(RectD* r, double x, double y, double w, double h) RV_NOEXCEPT;
/// X and Y are the lesser of their pairs, the sizes the differences.
RV_API void R_RectD_FromLTRB(RectD* r, double l, double t, double rt, double b) RV_NOEXCEPT;
/// Makes an empty rectangle: X and Y DBL_MAX, Width and Height DBL_MIN.
RV_API void R_RectD_Empty(RectD* r) RV_NOEXCEPT;
RV_API int32_t R_RectD_IsEmpty(const RectD* r) RV_NOEXCEPT;
/// R_Double_AreCloseRects.
RV_API int32_t R_RectD_IsEqual(const RectD* a, const RectD* b) RV_NOEXCEPT;
/// X, or X - Width where Width is negative: then the left edge lies right of X.
RV_API double R_RectD_Left(const RectD* r) RV_NOEXCEPT;
/// Y, or Y - Height where Height is negative.
RV_API double R_RectD_Top(const RectD* r) RV_NOEXCEPT;
/// X + Width, or X where Width is negative.
RV_API double R_RectD_Right(const RectD* r) RV_NOEXCEPT;
/// Y + Height, or Y where Height is negative.
RV_API double R_RectD_Bottom(const RectD* r) RV_NOEXCEPT;
RV_API void R_RectD_TopLeft(const RectD* r, PointD* out) RV_NOEXCEPT;
RV_API void R_RectD_TopRight(const RectD* r, PointD* out) RV_NOEXCEPT;
RV_API void R_RectD_BottomRight(const RectD* r, PointD* out) RV_NOEXCEPT;
RV_API void R_RectD_BottomLeft(const RectD* r, PointD* out) RV_NOEXCEPT;
RV_API void R_RectD_Size(const RectD* r, SizeD* out) RV_NOEXCEPT;
/// Edges are inside; no tolerance. Nothing lies in an empty rectangle.
RV_API int32_t R_RectD_ContainsPoint(const RectD* r, const PointD* p) RV_NOEXCEPT;
/// q lies in r, shared edges included; neither is empty.
RV_API int32_t R_RectD_ContainsRect(const RectD* r, const RectD* q) RV_NOEXCEPT;
/// They share at least a point; neither is empty.
RV_API int32_t R_RectD_IntersectsWith(const RectD* a, const RectD* b) RV_NOEXCEPT;
/// What a and b share, of size 0 where they only touch; empty where they are apart.
RV_API void R_RectD_Intersect(RectD* out, const RectD* a, const RectD* b) RV_NOEXCEPT;
/// The box of both; an empty side yields the other. A size of DBL_MAX on either side stays DBL_MAX.
RV_API void R_RectD_Union(RectD* out, const RectD* a, const RectD* b) RV_NOEXCEPT;
/// Adds to X and Y; an empty rectangle is nothing special.
RV_API void R_RectD_Offset(RectD* r, const PointD* p) RV_NOEXCEPT;
/// Moves each edge outwards by the size; an empty rectangle is nothing special.
RV_API void R_RectD_Inflate(RectD* r, const SizeD* s) RV_NOEXCEPT;
/// Multiplies position and size; a negative factor also turns the rectangle round. An empty rectangle stays.
RV_API void R_RectD_Scale(RectD* r, double sx, double sy) RV_NOEXCEPT;
/// R_Matrix_TransformRect.
RV_API void R_RectD_Transform(RectD* r, const MATRIX* m) RV_NOEXCEPT;
/// Rounds position and size, each for itself; an empty rectangle gives zeros.
RV_API void R_RectD_ToRect(const RectD* r, RECT* out) RV_NOEXCEPT;

RV_API void R_LengthD_Make(LengthD* l, double value) RV_NOEXCEPT;
/// R_Double_AreClose.
RV_API int32_t R_LengthD_IsEqual(const LengthD* a, const LengthD* b) RV_NOEXCEPT;

// ---- Other ----

/// The integer square root: the greatest integer whose square is not above n.
RV_API uint32_t R_SQRT(uint32_t n) RV_NOEXCEPT;

RV_C_END

RV_RECORD_SIZE(PointD, 16, 16);
RV_RECORD_SIZE(SizeD, 16, 16);
RV_RECORD_SIZE(RectD, 32, 32);
RV_RECORD_SIZE(LengthD, 8, 8);
RV_RECORD_SIZE(MATRIX, 52, 56);
