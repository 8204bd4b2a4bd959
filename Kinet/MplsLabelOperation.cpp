#include "Kinet/MplsLabelOperation.h"

#include "Vok/Scalars.h"

namespace Kinet {

const Vok::Type& MplsLabelOperation::vokType() {
   static const Vok::HandWrittenType<MplsLabelOperation> type("Kinet::MplsLabelOperation",
                                                              "The labels that a via imposes.");
   return type;
}

} // namespace Kinet
