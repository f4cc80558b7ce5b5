/*
 * FindPage.h - the detection stages in one call that tells what they found and where they gave up.
 */
#ifndef QUARLO_TESTS_SUPPORT_FINDPAGE_H
#define QUARLO_TESTS_SUPPORT_FINDPAGE_H

#include "StructTypes.h"

/* How page and background are told apart. */
struct GroundChoice {
    sint32 ground;    /* 1 dark, 255 light */
    sint32 threshold; /* 1 to 255; 0: estimated from the outermost columns */
};

/* Where the page lies. Owns its row spans. */
struct PageFrame {
    PageFrame() = default;
    ~PageFrame();
    PageFrame(const PageFrame&) = delete;
    PageFrame& operator=(const PageFrame&) = delete;

    const char* stage = "";   /* the stage that ran last: threshold, range, borders, split or frame */
    uint8 threshold = 0;      /* the one in use */
    Real64 angle = 0.0;       /* radians, for RotateBitmap */
    PointRec center = {0, 0}; /* of the page, in source pixels */
    sint32 width = 0;         /* of the upright page */
    sint32 height = 0;
    RowSeckRec rows = null_row_seck;
};

/* Finds the page; answers the code of the first stage that fails. */
sint32 FindPage(BitmapRec* bitmap, GroundChoice choice, PageFrame* frame);

/* The skew in degrees, -180 to 180. */
double SkewDegrees(const PageFrame& frame);

#endif
