// Pieces of the draft copy that the high quality copies share.
#pragma once

#include "RX_Copy.h"
#include "pixelops/copy_rects.h"

namespace rx {

// One depth pair: whole worlds, equal rectangles, or scaling by
// replication.
template <class From, class To>
RX_Err copy_draft_pair(const RX_LayerDef& src, RX_LayerDef& dst, CopyRect s, CopyRect d);

// Refuses null worlds and null data with the copy's location.
RX_Err check_worlds(const RX_LayerDef* src, const RX_LayerDef* dst, int16_t location);

}  // namespace rx
