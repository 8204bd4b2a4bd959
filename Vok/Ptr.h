#pragma once
// Vok::Ptr<T>: the counted pointer to an entity. Ptr<const T> is a read-only pointer. Counts are kept
// in the entity and are not atomic: entities belong to the activity thread.

#include <compare>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace Vok {

template <class T>
class Ptr {
  public:
   Ptr() = default;
   Ptr(std::nullptr_t) {}
   Ptr(T* object) : object_(object) { acquire(); }
   Ptr(const Ptr& other) : object_(other.object_) { acquire(); }
   Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
   template <class U>
   requires std::is_convertible_v<U*, T*> Ptr(const Ptr<U>& other) : object_(other.get()) { acquire(); }
   Ptr& operator=(Ptr other) noexcept {
      std::swap(object_, other.object_);
      return *this;
   }
   ~Ptr() {
      if (object_)
         object_->vokRelease();
   }

   /// Takes over a count that the caller holds already.
   static Ptr adopt(T* object) {
      Ptr adopted;
      adopted.object_ = object;
      return adopted;
   }

   T* get() const { return object_; }
   T* operator->() const { return object_; }
   T& operator*() const { return *object_; }
   explicit operator bool() const { return object_ != nullptr; }
   bool operator!() const { return object_ == nullptr; }

   template <class U>
   bool operator==(const Ptr<U>& other) const {
      return object_ == other.get();
   }
   bool operator==(std::nullptr_t) const { return object_ == nullptr; }

  private:
   void acquire() const {
      if (object_)
         object_->vokAcquire();
   }

   T* object_ = nullptr;
};

/// Makes an entity and returns the first pointer to it.
template <class T, class... Args>
Ptr<T> make(Args&&... args) {
   return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

/// The entity as a T, or null when it is none.
template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& pointer) {
   return Ptr<T>(dynamic_cast<T*>(pointer.get()));
}

} // namespace Vok
