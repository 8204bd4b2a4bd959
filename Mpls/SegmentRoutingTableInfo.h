#pragma once

#include "Mpls/SegmentRouting.h"
#include "Pooltab/VokPooltab.h"

namespace Pooltab::SegmentRouting {

/// Where the tables of `Status` are.
struct TableInfo {
   /// For VokPooltab::ReaderMount of whoever reads them, and for VokPooltab::WriterMount of their one writer.
   static VokPooltab::MountInfo srStatusInfo();
};

} // namespace Pooltab::SegmentRouting
