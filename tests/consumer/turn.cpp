/* turn.cpp - a C++ program that uses the installed library: turns an image of two pixels. */
#include <quarlo/BitmapProcessing.h>
#include <quarlo/BitmapRotate.h>
#include <quarlo/SearchBitmapFrame.h>

int main()
{
    BitmapRec source = null_bitmap;
    BitmapRec turned = null_bitmap;
    if (Bitmap_New(&source, 2, 1, 8, 0) != QL_SUCCESS) return 1;
    source.buffer[0] = 10;
    source.buffer[1] = 20;
    const sint32 code = imageRotate(&source, &turned, 90.0);
    const bool right = code == QL_SUCCESS && turned.biWidth == 1 && turned.biHeight == 2 &&
                       turned.buffer[0] == 20 && turned.buffer[1] == 10 && LeftPointIndexT == 0;
    Bitmap_Done(&turned);
    Bitmap_Done(&source);
    return right ? 0 : 1;
}
