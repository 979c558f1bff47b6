/* GE, geometry and maths: rectangles, 3 x 3 matrices and the shared 8-bit
   multiply and divide tables. */
#ifndef GE_H
#define GE_H

#include "HostAPI.h"

HOST_BEGIN_C

#define GE_VERSION 18

/* Half-open: right and bottom are one past the last pixel. */
typedef struct GE_LRect { int32_t left, top, right, bottom; } GE_LRect;
/* The frame store's order: top, left, bottom, right. */
typedef struct GE_Rect { int16_t top, left, bottom, right; } GE_Rect;
typedef struct GE_LPoint { int32_t x, y; } GE_LPoint;

HOST_API HOST_Err GE_CheckVersions(int32_t location, int32_t caller_version);

/* Rectangles. An empty rectangle has right <= left or bottom <= top. */
HOST_API int32_t GE_EmptyLRect(const GE_LRect* r);
/* Intersection into out; returns non-zero when it is not empty. */
HOST_API int32_t GE_SectLRect(const GE_LRect* a, const GE_LRect* b, GE_LRect* out);
/* Smallest rectangle holding both; an empty operand is ignored. */
HOST_API void GE_UnionLRect(const GE_LRect* a, const GE_LRect* b, GE_LRect* out);
HOST_API void GE_OffsetLRect(GE_LRect* r, int32_t dx, int32_t dy);
HOST_API void GE_InsetLRect(GE_LRect* r, int32_t dx, int32_t dy);
HOST_API int32_t GE_EqualLRect(const GE_LRect* a, const GE_LRect* b);
HOST_API int32_t GE_PtInLRect(const GE_LPoint* p, const GE_LRect* r);
/* Field for field by name. */
HOST_API void GE_LRectToRect(const GE_LRect* in, GE_Rect* out);
HOST_API void GE_RectToLRect(const GE_Rect* in, GE_LRect* out);

/* The 256 x 256 byte tables, shared and reference counted.
   Multiply: entry [a][b] = a * b / 255, rounded to nearest.
   Divide: entry [a][v] = v * 255 / a rounded to nearest, limited to 255;
   row 0 holds 255 in every column, so that unmultiplying a transparent pixel
   gives white, as the 16-bit and float unmultiplies do; column 0 holds 0 in
   rows 1 to 255.
   The first three arguments are the table kind (1: 8 bits) and two reserved
   zeros. Either out pointer may be null. Each successful call takes one
   reference that GE_UnprepareFCMD gives back. */
HOST_API HOST_Err GE_PrepareFCMD(int32_t kind, int32_t reserved1, int32_t reserved2,
                                 const uint8_t** multiply_out, const uint8_t** divide_out);
HOST_API HOST_Err GE_UnprepareFCMD(void);

/* ---- 3 x 3 matrices ----
   Column vectors: a point (x, y) maps to (x', y') with
     x' = (m[0][0] x + m[0][1] y + m[0][2]) / w,
     y' = (m[1][0] x + m[1][1] y + m[1][2]) / w,
     w  =  m[2][0] x + m[2][1] y + m[2][2],
   so column 0 is where the unit x step goes, column 2 the translation, and
   the bottom row is (0, 0, 1) for an affine matrix. */
typedef struct GE_Matrix3 { double m[3][3]; } GE_Matrix3;
typedef struct GE_FloatPoint { double x, y; } GE_FloatPoint;
#ifdef __cplusplus
static_assert(sizeof(GE_Matrix3) == 72 && sizeof(GE_FloatPoint) == 16, "GE_Matrix3 and GE_FloatPoint layout");
#endif

/* What a matrix does, from the simplest class that holds it exactly. */
typedef enum GE_MatrixType {
  GE_MatrixType_Identity = 0,
  GE_MatrixType_Translate = 1,    /* identity plus a translation */
  GE_MatrixType_Scale = 2,        /* diagonal linear part, any translation */
  GE_MatrixType_Affine = 3,       /* rotation, shear, anything affine */
  GE_MatrixType_Perspective = 4   /* bottom row other than (0, 0, 1) */
} GE_MatrixType;

HOST_API void GE_SetIdentityMatrix(GE_Matrix3* m);
/* out = a * b: b is applied first, then a. out may be a or b. */
HOST_API void GE_ConcatMatrix(const GE_Matrix3* a, const GE_Matrix3* b, GE_Matrix3* out);
/* The inverse of m into out; 1 when m is invertible, 0 (out untouched, no
   report) when it is singular: a zero determinant or an inverse that is not
   finite. out may be m. */
HOST_API int32_t GE_InverseMatrixQuiet(const GE_Matrix3* m, GE_Matrix3* out);
/* Non-zero when every entry of a and b differs by at most epsilon. */
HOST_API int32_t GE_EqualMatrixWithinEpsilon(const GE_Matrix3* a, const GE_Matrix3* b, double epsilon);
/* The class of m, compared exactly. */
HOST_API int32_t GE_GetMatrixType(const GE_Matrix3* m);
/* Maps count points in place through m, dividing by w. A point at w = 0
   goes to the largest finite values in the direction of its numerators. */
HOST_API void GE_TransformFloatPoints(const GE_Matrix3* m, int32_t count, GE_FloatPoint* points);
/* The same for integer points, rounded by GE_RoundDouble. */
HOST_API void GE_TransformPoints(const GE_Matrix3* m, int32_t count, GE_LPoint* points);

/* ---- 4 x 4 matrices on points of the plane ----
   Column vectors, as the 3 x 3 ones: a point (x, y) is taken as (x, y, 0, 1),
   and maps to (x', y') with
     x' = (m[0][0] x + m[0][1] y + m[0][3]) / w,
     y' = (m[1][0] x + m[1][1] y + m[1][3]) / w,
     w  =  m[3][0] x + m[3][1] y + m[3][3];
   the z row and column 2 play no part. */
typedef struct GE_Matrix4 { double m[4][4]; } GE_Matrix4;
/* Maps count integer points in place, rounded by GE_RoundDouble; a point at
   w = 0 goes to the ends of the 32-bit range in the direction of its
   numerators (0 for a zero numerator). */
HOST_API void GE_3DTransform2DPoints(const GE_Matrix4* m, int32_t count, GE_LPoint* points);

/* The nearest integer to x; an exact half goes away from zero (2.5 gives 3,
   -2.5 gives -3). Values beyond the 32-bit range give the nearest end of
   it, NaN gives 0. */
HOST_API int32_t GE_RoundDouble(double x);

HOST_END_C

#ifdef __cplusplus
/* A two-component vector of the geometry library (x, y). */
template <class T>
struct GE_Vector2T {
  T x, y;
};
#endif

#endif
