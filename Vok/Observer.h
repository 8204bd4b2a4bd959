#pragma once
// Notifiees that nobody derives from any more.

#include "Vok/Notifiee.h"

#include <type_traits>

namespace Vok {

/// A notifiee of entities of type `Watched` that calls the handlers of `Self` without virtual functions, so
/// that a change costs one call through a pointer for each observer, not two:
///
///    class Listener final : public Vok::Observer<Listener, Config> {
///      public:
///       using Observer::Observer;
///       void onRoute(const RouteKey& key) override;
///    };
///
/// The handlers are public, and `Self` is final.
template <class Self, class Watched>
class Observer : public Watched::Notifiee {
  public:
   using Watched::Notifiee::Notifiee;

   void vokOnChange(AttrId attr, const void* key) final {
      static_assert(std::is_final_v<Self>);
      Watched::Notifiee::vokDispatch(static_cast<Self&>(*this), attr, key);
   }
};

} // namespace Vok
