#include "Lab/Beacons.h"

namespace Lab {

bool Beacon::isLabelled() const {
   return nodeLabel_ != Kinet::MplsLabel();
}

} // namespace Lab
