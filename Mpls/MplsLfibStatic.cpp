#include "Mpls/MplsLfibStatic.h"

#include "Vok/Assert.h"

namespace Mpls {

Kinet::MplsLabelAction LfibHubdbMplsVia::labelAction() const {
   return outLabel_.labelAction();
}

LfibHubdbStaticMldpViaSet::LfibHubdbStaticMldpViaSet(Kinet::MplsLabel label) : label_(label) {}

Vok::U8 LfibHubdbStaticMldpViaSet::getViaCount() const {
   return viaCount_();
}

void LfibHubdbStaticMldpViaSet::handleMplsVia(LfibHubdbViaIndexRange idx) {
   if (idx == viaCount_())
      viaCount_Is(static_cast<Vok::U8>(idx + 1));
   vokAssert(idx < viaCount_());
}

void LfibHubdbStaticMldpViaSet::writeLog(Vok::NboAttrLog::Writer& log) const {
   Vok::typeOf<Kinet::MplsLabel>().writeLog(&label_, log);
   log.u8(viaCount_());
   for (Vok::U8 i = 0; i < viaCount_(); ++i) {
      const LfibHubdbMplsVia via = mplsVia(LfibHubdbViaIndexRange(i));
      Vok::typeOf<LfibHubdbMplsVia>().writeLog(&via, log);
   }
}

void LfibHubdbStaticMldpViaSet::readLog(Vok::NboAttrLog::Reader& log, LfibHubdbStaticMldpViaSet& value) {
   LfibHubdbStaticMldpViaSet read;
   Vok::typeOf<Kinet::MplsLabel>().readLog(log, &read.label_);
   const Vok::U8 count = log.u8();
   if (count != 0)
      read.viaCount_Is(LfibHubdbViaIndexRange(count - 1) + 1);
   // The count stands before the vias are stored: one of them may be unset.
   for (Vok::U8 i = 0; i < count; ++i) {
      LfibHubdbMplsVia via;
      Vok::typeOf<LfibHubdbMplsVia>().readLog(log, &via);
      read.mplsViaIs(LfibHubdbViaIndexRange(i), via);
   }
   value = read;
}

} // namespace Mpls
