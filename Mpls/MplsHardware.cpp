#include "Mpls/MplsHardware.h"

#include "Vok/Assert.h"

namespace Mpls::Hardware {

AdjacencyType AdjacencyBase::adjType() const {
   return AdjacencyType::mplsUnknown;
}
AdjacencyType Adjacency::adjType() const {
   return AdjacencyType::mplsIp;
}
AdjacencyType PwAdjacency::adjType() const {
   return AdjacencyType::mplsPseudowire;
}
AdjacencyType ExtFecAdjacency::adjType() const {
   return AdjacencyType::mplsExternalFec;
}
AdjacencyType MulticastAdjacency::adjType() const {
   return AdjacencyType::mplsMulticast;
}
AdjacencyType AdjacencySet::adjType() const {
   return setType();
}

AdjacencyBaseKey AdjacencyBase::adjKey() const {
   return AdjacencyBaseKey(index(), adjType());
}

Vok::Ptr<const AdjacencyBase> Status::adjacencyBase(const AdjacencyBaseKey& key) const {
   switch (key.adjType()) {
   case AdjacencyType::mplsIp:
      return adjacency(key.index());
   case AdjacencyType::mplsPseudowire:
      return pwAdjacency(key.index());
   case AdjacencyType::mplsExternalFec:
      return extFecAdjacency(key.index());
   case AdjacencyType::mplsMulticast:
      return multicastAdjacency(key.index());
   case AdjacencyType::mplsUnknown:
      vokAssert(0 && "Invalid adjType: mplsUnknown");
   }
   return nullptr;
}

} // namespace Mpls::Hardware
