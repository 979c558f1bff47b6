// Half-open rectangles: right and bottom lie one past the last pixel.
#include <algorithm>

#include "GE/GE.h"
#include "host_internal.h"

HOST_Err GE_CheckVersions(int32_t location, int32_t caller_version) {
  return rxhost::check_version("GE", location, caller_version);
}

int32_t GE_EmptyLRect(const GE_LRect* r) { return r->right <= r->left || r->bottom <= r->top; }

int32_t GE_SectLRect(const GE_LRect* a, const GE_LRect* b, GE_LRect* out) {
  // Computed aside first: out may be a or b.
  GE_LRect s{std::max(a->left, b->left), std::max(a->top, b->top), std::min(a->right, b->right),
             std::min(a->bottom, b->bottom)};
  if (GE_EmptyLRect(&s)) s = GE_LRect{0, 0, 0, 0};
  *out = s;
  return !GE_EmptyLRect(&s);
}

void GE_UnionLRect(const GE_LRect* a, const GE_LRect* b, GE_LRect* out) {
  const bool a_empty = GE_EmptyLRect(a), b_empty = GE_EmptyLRect(b);
  if (a_empty && b_empty) {
    *out = GE_LRect{0, 0, 0, 0};
  } else if (a_empty) {
    *out = *b;
  } else if (b_empty) {
    *out = *a;
  } else {
    *out = GE_LRect{std::min(a->left, b->left), std::min(a->top, b->top),
                    std::max(a->right, b->right), std::max(a->bottom, b->bottom)};
  }
}

void GE_OffsetLRect(GE_LRect* r, int32_t dx, int32_t dy) {
  r->left += dx;
  r->right += dx;
  r->top += dy;
  r->bottom += dy;
}

void GE_InsetLRect(GE_LRect* r, int32_t dx, int32_t dy) {
  r->left += dx;
  r->right -= dx;
  r->top += dy;
  r->bottom -= dy;
}

int32_t GE_EqualLRect(const GE_LRect* a, const GE_LRect* b) {
  return a->left == b->left && a->top == b->top && a->right == b->right && a->bottom == b->bottom;
}

int32_t GE_PtInLRect(const GE_LPoint* p, const GE_LRect* r) {
  return p->x >= r->left && p->x < r->right && p->y >= r->top && p->y < r->bottom;
}

void GE_LRectToRect(const GE_LRect* in, GE_Rect* out) {
  const GE_LRect r = *in;
  out->top = static_cast<int16_t>(r.top);
  out->left = static_cast<int16_t>(r.left);
  out->bottom = static_cast<int16_t>(r.bottom);
  out->right = static_cast<int16_t>(r.right);
}

void GE_RectToLRect(const GE_Rect* in, GE_LRect* out) {
  const GE_Rect r = *in;
  *out = GE_LRect{r.left, r.top, r.right, r.bottom};
}
