// Draws a diagonal into a one-bit bitmap and reads it back. With an argument, such as "24", makes a bitmap of that
// depth in compressed strips, which shows that the codec modules are found.
#include <ravokit/ravokit.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
    BITMAPRECORD bitmap;
    int nWrong = 0;
    if (argc > 1) {
        const int nBits = atoi(argv[1]);
        const int nStatus = R_CreateBitmap(&bitmap, sizeof bitmap, BMMEM_SUPERCOMPRESSED, 8, 8, nBits,
                                           nBits == 24 ? ORDER_BGR : ORDER_RGB, NULL, TOP_LEFT, NULL, 0);
        R_FreeBitmap(&bitmap);
        printf("strips of %d bits: %d\n", nBits, nStatus);
        return nStatus != 1;
    }
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
