#include "tools/common/AdjacencyIndex.h"

namespace tools {

using Mpls::AdjacencyType;
using Mpls::LfibViaSetKey;

namespace {

// The index's bytes, from the top: 0, source, via type, via-set type, and four of the via set's own index.
constexpr unsigned sourceShift = 48, viaTypeShift = 40, viaSetTypeShift = 32;

template <class Enum>
Vok::U64 packed(Enum value, unsigned shift) {
   return static_cast<Vok::U64>(value) << shift;
}

template <class Enum>
bool unpack(Vok::U64 index, unsigned shift, Enum last, Enum& value) {
   value = static_cast<Enum>(index >> shift & 0xff);
   return value <= last;
}

} // namespace

AdjacencyType adjacencyTypeOf(const LfibViaSetKey& key) {
   if (key.viaSetType() == Mpls::multicast_)
      return AdjacencyType::mplsMulticast;
   switch (key.viaType()) {
   case Mpls::viaTypeMplsPseudowire_:
      return AdjacencyType::mplsPseudowire;
   case Mpls::viaTypeExternalFec_:
      return AdjacencyType::mplsExternalFec;
   default:
      return AdjacencyType::mplsIp;
   }
}

Mpls::Hardware::AdjacencyBaseKey adjacencyKeyOf(const LfibViaSetKey& key) {
   return {packed(key.source(), sourceShift) | packed(key.viaType(), viaTypeShift) |
               packed(key.viaSetType(), viaSetTypeShift) | key.index(),
           adjacencyTypeOf(key)};
}

std::optional<LfibViaSetKey> viaSetKeyOf(Vok::U64 adjacencyIndex) {
   Mpls::LFib::Source source;
   Mpls::LfibViaType viaType;
   Mpls::LfibViaSetType viaSetType;
   if (adjacencyIndex >> (sourceShift + 8) != 0 ||
       !unpack(adjacencyIndex, sourceShift, Mpls::LFib::lfibSourceMax_, source) ||
       !unpack(adjacencyIndex, viaTypeShift, Mpls::viaTypeMax_, viaType) ||
       !unpack(adjacencyIndex, viaSetTypeShift, Mpls::multicast_, viaSetType))
      return std::nullopt;
   return LfibViaSetKey(source, static_cast<Vok::U32>(adjacencyIndex), viaType, viaSetType);
}

} // namespace tools
