#include "Mpls/MplsLabelBinding.h"

#include <limits>

namespace Mpls {

bool FecLabelSet::isUnused() const {
   return mplsLabels() == 0 &&
          (lastUpdate() == 0.0 || lastUpdate() == std::numeric_limits<double>::infinity());
}

void LabelBindingTable::updateProducer(const FwdEqvClass& fec, Kinet::MplsLabel label) {
   lastFwdEqvClassIs(fec);
   lastLabelIs(label);
   changeCntInc(1);
}

bool LabelBindingTable::isUnused() const {
   return bindings() == 0 && filteredFecs() == 0;
}

} // namespace Mpls
