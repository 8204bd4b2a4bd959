#include "Vok/FlatMap.h"

#include "Vok/Block.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace Vok {

namespace {

U32& numberOf(void* node) {
   return *static_cast<U32*>(node);
}
U32 numberOf(const void* node) {
   return *static_cast<const U32*>(node);
}

void* nodeAt(void* nodes, U64 place, U32 size) {
   return static_cast<U8*>(nodes) + place * size;
}

} // namespace

U32* FlatMapBase::order(const NodeShape& shape) const {
   return static_cast<U32*>(nodeAt(nodes_, lowMask() + U64(1), shape.size));
}

void FlatMapBase::makeRoom(const NodeShape& shape, const void* first) {
   const bool hasGaps = walks_ == 0 && used_ != live_;
   if (hasGaps && !isTable())
      return closeUp(shape);
   U64 wanted = (hasGaps ? live_ : used_) + U64(1);
   if (hasGaps) {
      wanted += wanted / 4; // or the next removal and addition would soon be here again
      numberAnew(shape);
   }
   nodesAre(wanted, shape, first);
}

/// Few nodes, which follow one another.
void FlatMapBase::closeUp(const NodeShape& shape) {
   U32 to = 0;
   for (U32 at = 0; at < used_; ++at) {
      void* const node = nodeAt(nodes_, at, shape.size);
      if (!isLive(numberOf(node)))
         continue;
      if (to != at)
         std::memcpy(nodeAt(nodes_, to, shape.size), node, shape.size);
      numberOf(nodeAt(nodes_, to, shape.size)) = to + 1;
      ++to;
   }
   used_ = to;
}

void FlatMapBase::numberAnew(const NodeShape& shape) {
   U32* const list = order(shape);
   U32 number = 0;
   for (U32 at = 0; at < used_; ++at)
      if (const U32 place = list[at]; place != struckOut) {
         numberOf(nodeAt(nodes_, place, shape.size)) = number + 1;
         list[number++] = place;
      }
   used_ = number;
}

/// Moves to a new block. A table's places are gone through as they stand in memory: their nodes fall into the
/// new ones in about the same order, for a home is the upper end of a hash.
void FlatMapBase::nodesAre(U64 wanted, const NodeShape& shape, const void* first) {
   const U32 bits = wanted <= scanLimit ? 0 : static_cast<U32>(std::bit_width(wanted + wanted / 2));
   const std::size_t bytes = std::size_t(shape.size) * (bits == 0 ? scanLimit : U64(1) << bits);
   void* const block = allocateBlock(bits == 0 ? bytes : bytes + roomIn(U64(1) << bits) * sizeof(U32));
   std::memset(block, 0, bytes);

   const U64 places = isTable() ? lowMask() + U64(1) : used_;
   void* const from = std::exchange(nodes_, block);
   const OwnedBlock old(from == first ? nullptr : from);
   shift_ = static_cast<U16>(bits == 0 ? 0 : 32 - bits);
   U32* const list = isTable() ? order(shape) : nullptr;
   if (list)
      std::fill_n(list, used_, struckOut);
   for (U64 at = 0; at < places; ++at) {
      const void* const node = nodeAt(from, at, shape.size);
      const U32 number = numberOf(node);
      if (!isLive(number))
         continue;
      U32 place = number - 1;
      if (list) {
         for (place = home(shape.hash(node)); numberOf(nodeAt(block, place, shape.size)) != emptyPlace;)
            place = next(place);
         list[number - 1] = place;
      }
      std::memcpy(nodeAt(block, place, shape.size), node, shape.size);
   }
}

void FlatMapBase::drop(const NodeShape& shape, void* first) {
   if (isTable() && used_ < lowMask() / 16) {
      freeNodes(first);
      nodes_ = first;
      shift_ = 0;
   } else if (isTable()) {
      std::memset(nodes_, 0, (lowMask() + std::size_t(1)) * shape.size);
   }
   used_ = 0;
}

void FlatMapBase::freeNodes(const void* first) {
   if (nodes_ != first)
      freeBlock(nodes_);
}

} // namespace Vok
