/* Wireframes: a coarse outline of an image, a bounded list of points where
   its alpha crosses half coverage, sampled on a grid; and the same points
   pushed through a 3 x 3 or a 4 x 4 matrix. */
#ifndef RX_WIREFRAME_H
#define RX_WIREFRAME_H

#include "RX_Pixels.h"
#include "SEQ/SEQ.h"

RX_BEGIN_C

/* Flags of the record. */
#define RX_Wireframe_Finished 1u  /* generation has finished */
/* Flags of RX_GenerateWireframe. */
#define RX_Wireframe_Corners 16   /* put the rectangle's four corners first */

/* A list of the record that this package leaves empty. */
typedef struct RX_WireframeExtraList {
  SEQ_List list;        /* null, or disposed with the wireframe */
  uintptr_t reserved;
} RX_WireframeExtraList;

/* Owned by the caller; cleared at generation. The points list holds one
   element per point: x then y, two int32_t, which is a GE_LPoint. */
typedef struct RX_Wireframe {
  uint32_t flags;
  uint32_t point_count;
  SEQ_List points;
  uintptr_t reserved;
  RX_WireframeExtraList extra[3];
} RX_Wireframe;

#ifdef __cplusplus
static_assert(offsetof(RX_Wireframe, point_count) == 4, "RX_Wireframe layout");
static_assert(offsetof(RX_Wireframe, points) == 8, "RX_Wireframe layout");
static_assert(offsetof(RX_Wireframe, reserved) == 16, "RX_Wireframe layout");
static_assert(offsetof(RX_Wireframe, extra) == 24, "RX_Wireframe layout");
static_assert(sizeof(RX_WireframeExtraList) == 16, "RX_Wireframe layout");
static_assert(sizeof(RX_Wireframe) == 72, "RX_Wireframe layout");
#endif

/* Clears the record and gives it a list of points zeroed points (and the
   flags). A null record reports bad parameter 12; list codes are returned
   as they come, with the record cleared. */
RX_API RX_Err RX_AllocWireframe(uint32_t points, uint32_t flags, RX_Wireframe* wireframe);

/* Disposes every list of the record that is not null and clears it; the
   first non-zero code of the disposals. A null record does nothing. */
RX_API RX_Err RX_DisposeWireframe(RX_Wireframe* wireframe);

/* Samples the alpha of a 32-bit bitmap on a grid over rect (null: the whole
   bitmap; a rectangle is cut to the bitmap): a sample is an edge point when
   the top bits of the alphas half a step to its left and right, or above
   and below, differ. When more than max_points were found, the step grows
   by 1 and sampling starts again, until they fit or nothing is sampled.
   With RX_Wireframe_Corners the rectangle's corners come first. A null
   image or record, a grid below 1, or a bitmap of other than 32 bits a
   pixel reports bad parameter 12; codes of SEQ and ZW are returned as they
   come, with nothing left behind. */
RX_API RX_Err RX_GenerateWireframe(void* unused, ZW_World image, int32_t grid, int32_t max_points,
                                   int32_t flags, const GE_LRect* rect, RX_Wireframe* wireframe);

/* Copies src's points into dst, whose count must be src's (else bad
   parameter 52), or, with dst null, into a wireframe allocated into out
   with src's count and flags; then maps them through matrix (rounded to
   whole pixels). A null src, matrix, or both dst and out, reports bad
   parameter 12. The first non-zero code of the list calls is returned. */
RX_API RX_Err RX_TransformWireframe2D(void* unused, const RX_Wireframe* src, void* unused2,
                                      const GE_Matrix3* matrix, RX_Wireframe* dst,
                                      RX_Wireframe* out);
/* The same through a 4 x 4 matrix, the points lying in the plane z = 0. */
RX_API RX_Err RX_TransformWireframe3D(void* unused, const RX_Wireframe* src, void* unused2,
                                      const GE_Matrix4* matrix, RX_Wireframe* dst,
                                      RX_Wireframe* out);

RX_END_C

#endif
