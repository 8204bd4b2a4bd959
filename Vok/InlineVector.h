#pragma once
// A short list that stands where it is declared.

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>

namespace Vok {

/// Up to Capacity elements without allocation; the room beyond size() is not even touched. Elements need
/// no destruction. Adding to a full list is the caller's error.
template <class T, std::size_t Capacity>
class InlineVector {
  public:
   static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

   InlineVector() = default;
   InlineVector(const InlineVector&) = delete;
   InlineVector& operator=(const InlineVector&) = delete;

   std::size_t size() const { return size_; }
   bool empty() const { return size_ == 0; }
   bool full() const { return size_ == Capacity; }
   void append(const T& element) { std::construct_at(begin() + size_++, element); }
   /// Appends what make() returns, which is made in its place and not copied there.
   template <class Make>
   void appendMade(Make&& make) {
      ::new (static_cast<void*>(end())) T(make());
      ++size_;
   }

   T* begin() { return reinterpret_cast<T*>(storage_); }
   T* end() { return begin() + size_; }
   const T* begin() const { return reinterpret_cast<const T*>(storage_); }
   const T* end() const { return begin() + size_; }

  private:
   std::size_t size_ = 0;
   alignas(T) std::byte storage_[Capacity * sizeof(T)];
};

} // namespace Vok
