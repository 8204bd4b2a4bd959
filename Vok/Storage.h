#pragma once
// storageOf<T>(): the Storage functions of a C++ type.

#include "Vok/HashOf.h"
#include "Vok/Type.h"

#include <new>

namespace Vok {

template <class T>
Storage storageOf() {
   Storage storage;
   storage.size = sizeof(T);
   storage.alignment = alignof(T);
   storage.construct = [](void* at) { ::new (at) T(); };
   storage.destroy = [](void* at) { static_cast<T*>(at)->~T(); };
   storage.assign = [](void* to, const void* from) { *static_cast<T*>(to) = *static_cast<const T*>(from); };
   storage.equal = [](const void* a, const void* b) {
      return *static_cast<const T*>(a) == *static_cast<const T*>(b);
   };
   storage.hash = [](const void* value) -> U32 {
      if constexpr (requires(const T& v) { hashOf(v); })
         return hashOf(*static_cast<const T*>(value));
      else
         throw UnhashableError("collection");
   };
   return storage;
}

} // namespace Vok
