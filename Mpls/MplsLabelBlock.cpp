#include "Mpls/MplsLabelBlock.h"

namespace Mpls {

Vok::String LabelBlock::stringValue() const {
   return Vok::valueToStrep(blockStart());
}

} // namespace Mpls
