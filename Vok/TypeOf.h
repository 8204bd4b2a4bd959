#pragma once
// typeOf<T>() for every C++ type of the model: scalars, enumerations (vokEnum by argument-dependent
// lookup), generated and hand-written values (static vokType()), arrays and collections.

#include "Vok/Collections.h"
#include "Vok/Scalars.h"

namespace Vok {

template <class T>
const Type& typeOf() {
   if constexpr (requires { scalarType(static_cast<const T*>(nullptr)); })
      return scalarType(static_cast<const T*>(nullptr));
   else if constexpr (std::is_enum_v<T>)
      return vokEnum(T{});
   else if constexpr (requires { T::vokType(); })
      return T::vokType();
   else {
      static const CollectionTypeOf<T> type;
      return type;
   }
}

} // namespace Vok
