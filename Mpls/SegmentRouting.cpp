#include "Mpls/SegmentRoutingTableInfo.h"

namespace Pooltab::SegmentRouting {

Kinet::IpGenPrefix PrefixSegment::prefix() const {
   return key();
}

bool PrefixSegment::needProtection() const {
   return protectionMode() != Mpls::SegmentRouting::FrrProtectionMode::disabled;
}

Mpls::RouterId GlobalBlock::routerId() const {
   return key();
}

Vok::U32 GlobalBlock::base() const {
   return labelRange().baseValue();
}

Vok::U32 GlobalBlock::size() const {
   return labelRange().size();
}

Kinet::MplsLabel GlobalBlock::mplsLabel() const {
   return labelRange().base();
}

VokPooltab::MountInfo TableInfo::srStatusInfo() {
   return {.pool = "mpls-sr"};
}

} // namespace Pooltab::SegmentRouting
