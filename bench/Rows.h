#pragma once

#include "Mpls/MplsLfibWriter.h"

#include <array>
#include <vector>

/// The routes that are measured, as a producer describes them and as the three packed rows that every peer
/// stores. Route number i matches label i and has one MPLS via of its own. Rewriting it (`generation` 1)
/// gives it another via; as the allocator would, peers take the next free indexes for the new rows.

namespace Bench {

using Vok::U32;
using Vok::U64;
using Vok::U8;

template <std::size_t bytes>
using Blob = std::array<U8, bytes>;

inline constexpr std::size_t routeKeyBytes = Vok::rowBytesMax<Mpls::RouteKey>;
inline constexpr std::size_t viaSetKeyBytes = Vok::rowBytesMax<Mpls::LfibViaSetKey>;
inline constexpr std::size_t viaKeyBytes = Vok::rowBytesMax<Mpls::LfibViaKey>;
inline constexpr std::size_t routeBytes = Vok::rowBytesMax<Mpls::LfibRoute>;
inline constexpr std::size_t viaBytes = Vok::rowBytesMax<Mpls::LfibMplsVia>;
/// Of a via set with one via: the largest one without the other slots.
inline constexpr std::size_t viaSetBytes =
    Vok::rowBytesMax<Mpls::LfibViaSet> - (Mpls::LfibViaIndexRange::range - 1) * viaKeyBytes;
/// Where a packed via set lists its first via key, and a packed route names its via set.
inline constexpr std::size_t firstViaKeyAt = viaSetBytes - viaKeyBytes;
inline constexpr std::size_t viaSetKeyAt = routeKeyBytes;

using RouteKeyBlob = Blob<routeKeyBytes>;
using ViaSetKeyBlob = Blob<viaSetKeyBytes>;
using ViaKeyBlob = Blob<viaKeyBytes>;
using RouteBlob = Blob<routeBytes>;
using ViaSetBlob = Blob<viaSetBytes>;
using ViaBlob = Blob<viaBytes>;

/// A packed key stands first in its packed row; keys are also found inside of other rows.
template <class Key, std::size_t bytes>
const Key& blobAt(const Blob<bytes>& row, std::size_t at = 0) {
   return *reinterpret_cast<const Key*>(row.data() + at);
}

struct PackedRoute {
   ViaBlob via;
   ViaSetBlob viaSet;
   RouteBlob route;
   const ViaKeyBlob& viaKey() const { return blobAt<ViaKeyBlob>(via); }
   const ViaSetKeyBlob& viaSetKey() const { return blobAt<ViaSetKeyBlob>(viaSet); }
   const RouteKeyBlob& routeKey() const { return blobAt<RouteKeyBlob>(route); }
};

Mpls::RouteKey routeKeyOf(U64 number);
Mpls::ConsolidatedLfibRoute routeOf(U64 number, U64 generation);
RouteKeyBlob packedKeyOf(const Mpls::RouteKey& key);

/// Makes the packed rows of routes; `total` is the number of routes in the run.
class RowMaker {
  public:
   explicit RowMaker(U64 total) : total_(total) {}
   /// `place` is the number of routes that were written before this one.
   PackedRoute operator()(U64 number, U64 place, U64 generation) const;

  private:
   U64 total_;
};

/// All numbers below `total` in an order that is random and the same in every run.
std::vector<U32> shuffled(U64 total);

} // namespace Bench
