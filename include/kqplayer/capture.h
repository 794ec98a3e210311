/// @file
/// Copying of planar frames.
#pragma once

#include "export.h"
#include "records.h"

/// Copies a planar picture between two frames of the same size, alpha too when both have one. Each row copies
/// as many bytes as the destination's pitch, which must not exceed the source's. Null pointers: nothing
/// happens; a plane that one of the frames lacks is left out.
/// @param pDst       frame whose planes are written
/// @param pSrc       frame whose planes are read
/// @param nCopyTimes non-zero: copies llTime, llPTS and nFlags as well
/// @param nReserved  not read
KQ_API void CopyVideoFrame(MEDIA_FRAME* pDst, const MEDIA_FRAME* pSrc, int nCopyTimes, int nReserved);
