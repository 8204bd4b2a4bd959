#include "Mpls/LfibIndexAllocator.h"

#include "Vok/Trace.h"

namespace MplsHelper {

namespace {

constinit Vok::TraceFacility trace("LfibIndexAllocator");

bool adjacencyInUse(const Mpls::LfibBase& lfib, Vok::U64 index) {
   return lfib.lfibAdjacencyHas(index) || lfib.lfibPwAdjacencyHas(index) ||
          lfib.lfibExtFecAdjacencyHas(index) || lfib.lfibMulticastAdjacencyHas(index);
}

} // namespace

Vok::U64 LfibGenAdjIdxAllocator::sourceBits(Mpls::LFib::Source source) {
   return static_cast<Vok::U64>(source) << sourceShift;
}

Vok::U64 LfibGenAdjIdxAllocator::getAdjacencyIndex(Mpls::LFib::Source source) {
   const auto candidateFrom = [&](Vok::U64 index) { return sourceBits(source) | (index & indexMask); };
   Vok::U64 candidate = candidateFrom(adjIndex(source));
   while (adjacencyInUse(*lfib(), candidate))
      candidate = candidateFrom(candidate + 1);
   adjIndexIs(source, candidate);
   if (auto line = trace.at(1))
      line << " allocate adj index 0x" << Vok::TraceHex{candidate};
   return candidate;
}

void LfibGenAdjIdxAllocator::useAdjacencyIndex(Mpls::LFib::Source source, Vok::U64 index) {
   if (auto line = trace.at(8))
      line << "useAdjacencyIndex"
           << " source: " << source << ", use idx: " << index;
   adjIndexIs(source, (index + 1) & indexMask);
}

void LfibGenAdjIdxAllocator::releaseAdjacencyIndex(Mpls::LFib::Source, Vok::U64) {}

void LfibGenAdjIdxAllocator::resetAdjacencyIndex(Mpls::LFib::Source source) {
   adjIndexIs(source, 1);
}

} // namespace MplsHelper
