/* deskew.c - reads a scan, crops the page, writes it: deskew IN.bmp OUT.bmp */
#include <stdio.h>

#include <quarlo/BitmapProcessing.h>
#include <quarlo/QL_Interface.h>

int main(int argc, char** argv)
{
    BitmapRec scan = null_bitmap, page = null_bitmap;
    sint32 code;
    if (argc != 3) return 2;
    code = ReadBitmapFromFile(&scan, (sint8*)argv[1]);
    if (code == QL_SUCCESS) code = ImageQuarlo(&scan, 2 /* bilinear */, 0 /* auto */, 1 /* dark ground */, &page);
    if (code == QL_SUCCESS && page.buffer == NULL) code = QL_OUT_OF_MEMORY;
    if (code == QL_SUCCESS) code = SaveBitmapToFile(&page, (sint8*)argv[2]);
    if (code == QL_SUCCESS) printf("%d x %d pixels\n", page.biWidth, page.biHeight);
    if (code != QL_SUCCESS) fprintf(stderr, "failed with code %d\n", code);
    Bitmap_Done(&page);
    Bitmap_Done(&scan);
    return code;
}
