// Outlines inside the library.
#pragma once

#include "ravokit/contours.h"

namespace rv {

constexpr int32_t kEllipsePoints = 48;

// The polygon that stands for the ellipse in a box: four Bézier arcs, flattened. An odd width or height loses its last
// column or row.
void ellipsePolygon(int32_t nLeft, int32_t nTop, int64_t nWidth, int64_t nHeight,
                    POINT (&points)[kEllipsePoints]) noexcept;

}  // namespace rv
