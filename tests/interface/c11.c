// The interface from plain C: every header has been compiled on its own, and a bitmap goes from birth to end.
#include <ravokit/ravokit.h>
#include <stdio.h>
#include <string.h>

#define CHECK(condition) \
    if (!(condition)) return fprintf(stderr, "line %d: %s\n", __LINE__, #condition), 1

int main(void) {
    enum { kWidth = 5, kHeight = 3, kRowBytes = kWidth * 3 };
    uint8_t row[kRowBytes], got[kRowBytes];
    BITMAPRECORD bitmap;
    for (int i = 0; i < kRowBytes; ++i) row[i] = (uint8_t)(i * 7 + 1);

    CHECK(R_CreateBitmap(&bitmap, sizeof bitmap, BMMEM_CONVENTIONAL, kWidth, kHeight, 24, ORDER_BGR, NULL, TOP_LEFT,
                         NULL, 0) == 1);
    CHECK(bitmap.Width == kWidth && bitmap.Height == kHeight && bitmap.BytesPerLine == 16);
    CHECK(R_AccessBitmap(&bitmap) == 1);
    CHECK(R_PutBitmapRow(&bitmap, row, 1, kRowBytes) == kRowBytes);
    CHECK(R_GetBitmapRow(&bitmap, got, 1, kRowBytes) == kRowBytes);
    CHECK(memcmp(row, got, kRowBytes) == 0);
    CHECK(R_GetBitmapRow(&bitmap, got, 2, kRowBytes) == kRowBytes);
    CHECK(got[0] == 0 && memcmp(got, got + 1, kRowBytes - 1) == 0);
    CHECK(R_ReleaseBitmap(&bitmap) == 1);
    CHECK(R_GetBitmapRow(NULL, got, 0, kRowBytes) == -13);
    R_FreeBitmap(&bitmap);

    MATRIX m;  // doubles and records cross the interface
    RectD r = {1, 2, 3, 4};
    R_Matrix_Set(&m, 2, 0, 0, 3, 10, 20);
    R_Matrix_TransformRect(&m, &r);
    CHECK(m.Type == 3 && R_Matrix_Determinant(&m) == 6 && r.X == 12 && r.Y == 26 && r.Width == 6 && r.Height == 12);
    return 0;
}
