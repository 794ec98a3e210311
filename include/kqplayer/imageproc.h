/// @file
/// The image library, libKQ_ImageProc.so: bitmaps that are saved as BMP, JPEG or PNG.
/// A handle is used from one thread at a time; different handles are independent.
#pragma once

#include "bitmap.h"
#include "export.h"

/// @return a new empty image, or null without memory
KQ_EXTERN_C void* DICreate(void);
/// Gives the image a size and depth; its pixels are then black.
/// @param pImage        the image, whose present pixels are lost
/// @param nWidth        pixels
/// @param nHeight       pixels
/// @param nBitsPerPixel 24 (rows of ((width*24+31)/32)*4 bytes, B G R, top-down)
/// @return 1, or 0 when the size or depth is not supported or memory ran out; the image is then empty
KQ_EXTERN_C int DISetContent(void* pImage, int nWidth, int nHeight, int nBitsPerPixel);
KQ_EXTERN_C int DIGetWidth(void* pImage);  ///< 0 for an empty image
KQ_EXTERN_C int DIGetHeight(void* pImage); ///< 0 for an empty image
/// @return the pixel rows, top-down, valid until DISetContent() or DIDestroy(); null for an empty image
KQ_EXTERN_C unsigned char* DIGetBits(void* pImage);
/// @return the image's header (positive height for its top-down rows), or null for an empty image
KQ_EXTERN_C struct tagBITMAPINFOHEADER* DIGetBitmapInfo(void* pImage);
/// Writes the image to a file. The file is written under a temporary name in its folder and renamed, so it
/// appears whole or not at all, and a file of that name stays intact when writing fails.
/// @param pImage    the image
/// @param pPath     the path, encoded as UTF-8 on its way to the file system
/// @param pMimeType L"image/bmp", L"image/jpeg" or L"image/png"; null writes nothing
/// JPEG is written at quality 92 without chroma subsampling: smooth pictures come back with a PSNR above 40
/// dB.
/// @return 1 when the file was written; 0 otherwise, with a log line that names the file and the reason
KQ_EXTERN_C int DISaveEx(void* pImage, const wchar_t* pPath, const wchar_t* pMimeType);
KQ_EXTERN_C void DIDestroy(void* pImage); ///< frees the image; null is ignored
