/* Box-filtered sampling for minification. RX_AreaSample_CPlusPlus averages
   a world over the box of the block's radii around a position;
   RX_SummedAreaTable precomputes a world so that any box costs four reads
   (sixteen with antialiased edges). C++ only. */
#ifndef RX_AREA_SAMPLING_H
#define RX_AREA_SAMPLING_H

#ifdef __cplusplus

#include "RX_Sampling.h"
#include "RX_World.h"

RX_VISIBLE_BEGIN

/* Straight-alpha box average at (x, y), 16.16, with the block's radii. Each
   pixel weighs its covered area times its alpha; the alpha of the result is
   the alpha sum over the area of the whole box (also where the box leaves
   the world), colours are the alpha-weighted means. Radii of half a pixel
   or less take bilinear samples instead of whole pixels along that axis.
   Px is RX_Pixel8, RX_Pixel16 or RX_PixelFloat. Always returns 0. */
template <class Px>
RX_API RX_Err RX_AreaSample_CPlusPlus(void* ref, int32_t x, int32_t y, const RX_SampPB* pb,
                                      Px* result);

extern template RX_API RX_Err RX_AreaSample_CPlusPlus<RX_Pixel8>(void*, int32_t, int32_t,
                                                                 const RX_SampPB*, RX_Pixel8*);
extern template RX_API RX_Err RX_AreaSample_CPlusPlus<RX_Pixel16>(void*, int32_t, int32_t,
                                                                  const RX_SampPB*, RX_Pixel16*);
extern template RX_API RX_Err RX_AreaSample_CPlusPlus<RX_PixelFloat>(void*, int32_t, int32_t,
                                                                     const RX_SampPB*,
                                                                     RX_PixelFloat*);

/* A summed-area table of one world, built at construction and immutable
   afterwards. Entry (x, y) is the mean of the premultiplied pixels of
   columns 0..x and rows 0..y, alpha first: the sum divided by
   (x + 1)(y + 1), which keeps every entry on the scale of one pixel. 8 and
   16-bit worlds give a table of RX_PixelFloat entries (Table()), premultiplied
   at their own scale; any other depth gives RX_PixelDouble entries
   (DoubleTable()) taken from the float pixels as they are. Rows of entries
   are packed, Width() entries each. The world is not referred to after
   construction. */
class RX_API RX_SummedAreaTable {
 public:
  /* Throws RX_Result_OutOfMemory, holding nothing, when memory fails. */
  explicit RX_SummedAreaTable(const RX_World* world);
  ~RX_SummedAreaTable();

  RX_SummedAreaTable(const RX_SummedAreaTable&) = delete;
  RX_SummedAreaTable& operator=(const RX_SummedAreaTable&) = delete;

  /* Null for the depth that uses the other table. */
  const RX_PixelFloat* Table() const { return table_; }
  const RX_PixelDouble* DoubleTable() const { return double_table_; }
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }

 private:
  RX_PixelFloat* table_ = nullptr;
  RX_PixelDouble* double_table_ = nullptr;
  int32_t width_ = 0;
  int32_t height_ = 0;
};
static_assert(sizeof(RX_SummedAreaTable) == 24, "RX_SummedAreaTable layout");

/* The box between pixel-centre corners (x0, y0) and (x1, y1) of a table's
   picture, with fractional edges: the table is interpolated bilinearly at
   each corner. Alpha is the alpha sum over the unclipped box's area,
   colours the alpha-weighted means, both limited to 0..white (and rounded
   for integer pixels). A box that is empty or outside gives zero. */
template <class Out, class Acc>
RX_API void RX_SummedAreaTable_SampleAA(int32_t width, int32_t height, const Acc* table, float x0,
                                        float y0, float x1, float y1, Out* result);

/* The same for the whole pixels of columns x0..x1-1 and rows y0..y1-1. */
template <class Out, class Acc>
RX_API void RX_SummedAreaTable_SampleDraft(int32_t width, int32_t height, const Acc* table,
                                           int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                                           Out* result);

extern template RX_API void RX_SummedAreaTable_SampleAA<RX_Pixel16, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, float, float, float, float, RX_Pixel16*);
extern template RX_API void RX_SummedAreaTable_SampleAA<RX_Pixel8, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, float, float, float, float, RX_Pixel8*);
extern template RX_API void RX_SummedAreaTable_SampleAA<RX_PixelFloat, RX_PixelDouble>(
    int32_t, int32_t, const RX_PixelDouble*, float, float, float, float, RX_PixelFloat*);

extern template RX_API void RX_SummedAreaTable_SampleDraft<RX_Pixel16, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, int32_t, int32_t, int32_t, int32_t, RX_Pixel16*);
extern template RX_API void RX_SummedAreaTable_SampleDraft<RX_Pixel8, RX_PixelFloat>(
    int32_t, int32_t, const RX_PixelFloat*, int32_t, int32_t, int32_t, int32_t, RX_Pixel8*);
extern template RX_API void RX_SummedAreaTable_SampleDraft<RX_PixelFloat, RX_PixelDouble>(
    int32_t, int32_t, const RX_PixelDouble*, int32_t, int32_t, int32_t, int32_t,
    RX_PixelFloat*);

RX_VISIBLE_END

#endif
#endif
