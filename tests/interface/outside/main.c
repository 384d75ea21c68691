// Draws a diagonal into a one-bit bitmap and reads it back.
#include <ravokit/ravokit.h>
#include <stdio.h>

int main(void) {
    BITMAPRECORD bitmap;
    int nWrong = 0;
    if (R_CreateBitmap(&bitmap, sizeof bitmap, BMMEM_CONVENTIONAL, 8, 8, 1, ORDER_RGB, NULL, TOP_LEFT, NULL, 0) != 1)
        return 1;
    R_AccessBitmap(&bitmap);
    for (int y = 0; y < 8; ++y) {
        const uint8_t row = (uint8_t)(0x80 >> y);
        nWrong += R_PutBitmapRow(&bitmap, &row, y, 1) != 1;
    }
    for (int y = 0; y < 8; ++y) {
        uint8_t row = 0;
        nWrong += R_GetBitmapRow(&bitmap, &row, y, 1) != 1 || row != 0x80 >> y;
    }
    R_ReleaseBitmap(&bitmap);
    R_FreeBitmap(&bitmap);
    printf("%d rows are wrong\n", nWrong);
    return nWrong != 0;
}
