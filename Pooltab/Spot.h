#pragma once

#include "Pooltab/RowPacking.h"

/// A key in the hands of a table's writer: packed and hashed once for all that is done under it, and its
/// place is looked up again only when the index has moved meanwhile.
///
///    auto spot = routes.spot(key);
///    if (routes.find(spot, row)) routes.del(spot);

namespace Pooltab {

template <class Key>
class Spot {
  public:
   Spot(TableStore& store, const Key& key) : packed_(key) {
      if (store.recall(packed_.words(), tag_, place_))
         return;
      tag_ = tagOf<Key>(packed_.words(), store.seed());
      // Keys are mostly written, read and deleted in order: the next eight's line comes while these eight are
      // worked on.
      if constexpr (Vok::nearOffset<Key>() != Vok::noNear)
         if (store.isNextGroup(nearNumberOf<Key>(packed_.words()) / Vok::nearALine))
            store.prefetchIndex(tag_ + Vok::nearStep);
   }

   U32 tag() const { return tag_; }
   /// Good as long as this object.
   PackedKey packed() const { return {tag_, packed_.words(), &place_}; }

  private:
   Packed<Key> packed_;
   U32 tag_;
   mutable Place place_; ///< what the table last said
};

} // namespace Pooltab
