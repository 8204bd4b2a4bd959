#include "Bolk/NumAllocatorTypes.h"

namespace Bolk {

Vok::U32 Range::last() const {
   return first() + size() - 1;
}

bool Range::contains(Vok::U32 number) const {
   return number - first() < size();
}

} // namespace Bolk
