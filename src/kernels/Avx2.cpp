/*
 * Avx2.cpp - the kernels for AVX2: vectors of 32 bytes, see Vec32.h.
 */
#include "kernels/Vec32.h"

/* ---- The set ---- */

extern const KernelsRec kAvx2Kernels;
const KernelsRec kAvx2Kernels = {
    /* rotate */ RotateKernels<vec32::RotateVec, vec32::RotateVec>(),
    /* convert */ ConvertKernelsOf<vec32::PixelVec>(),
    /* turn */ TurnKernelsOf<vec32::PixelVec>(),
    /* scan */ {kDotScans<Dots1>, kDotScans<Dots8<vec32::ScanVec>>, kDotScans<Dots24<vec32::ScanVec>>},
};
