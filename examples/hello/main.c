// A bitmap is created, filled, read back and converted.
#include <ravokit/ravokit.h>
#include <stdio.h>

int main(void) {
    BITMAPRECORD bm;
    if (R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, 640, 480, 24, ORDER_BGR, NULL, TOP_LEFT, NULL, 0) != 1)
        return 1;
    R_FillBitmap(&bm, 0x4080C0);  // red 0xC0, green 0x80, blue 0x40
    uint8_t row[640 * 3];
    R_AccessBitmap(&bm);
    R_GetBitmapRow(&bm, row, 0, bm.BytesPerLine);
    R_ReleaseBitmap(&bm);
    printf("%d x %d pixels, the first is blue %d, green %d, red %d", bm.Width, bm.Height, row[0], row[1], row[2]);
    R_ConvertBuffer(row, 640, 24, 0, ORDER_BGR, ORDER_RGB, NULL, NULL);  // 24 bits to 8-bit grey, in place
    printf("; as grey it is %d\n", row[0]);
    R_FreeBitmap(&bm);
    return 0;
}
