#pragma once
// An array of slots indexed by a bounded number: the variable part of table rows.

#include "Vok/Assert.h"
#include "Vok/Bounded.h"

#include <memory>

namespace Vok {

/// Slots numbered Index::lowest to Index::highest. A slot holds a value or the default, and one that
/// holds the default counts as not set. Only the slots up to the last set one are copied, compared,
/// logged and stored: an array costs what it holds.
template <class T, class Index>
class IndexedArray {
  public:
   static_assert(std::is_trivially_copyable_v<T>);
   using Element = T;
   using IndexType = Index;
   static constexpr std::size_t capacity = std::size_t(Index::highest) - Index::lowest + 1;

   IndexedArray() = default;
   IndexedArray(const IndexedArray& other) { *this = other; }
   IndexedArray& operator=(const IndexedArray& other) {
      limit_ = other.limit_;
      count_ = other.count_;
      std::uninitialized_copy_n(other.slots(), limit_, slots());
      return *this;
   }

   /// The value in a slot; the default when it is not set. Index raises RangeError for a bad number; a sum
   /// that went past its bounds unchecked stops the process.
   T get(Index index) const {
      const std::size_t at = offset(index);
      return at < limit_ ? slots()[at] : T();
   }
   bool has(Index index) const { return !(get(index) == T()); }
   /// Returns false, with nothing done, when the slot holds an equal value.
   bool is(Index index, const T& value) {
      const std::size_t at = offset(index);
      if (at >= limit_) {
         if (value == T())
            return false;
         std::uninitialized_fill_n(slots() + limit_, at - limit_, T());
         std::construct_at(slots() + at, value);
         limit_ = at + 1;
         ++count_;
         return true;
      }
      if (slots()[at] == value)
         return false;
      count_ += (slots()[at] == T()) - (value == T());
      slots()[at] = value;
      while (limit_ > 0 && slots()[limit_ - 1] == T())
         --limit_;
      return true;
   }
   bool del(Index index) { return is(index, T()); }
   /// Replaces all slots by those below `limit`, each made by take(slot, its distance from the lowest index).
   /// False when one could not be made or the last is not set; the array then holds no slot.
   template <class Take>
   bool fill(std::size_t limit, Take&& take) {
      delAll();
      std::size_t count = 0;
      for (std::size_t at = 0; at < limit; ++at) {
         T* const slot = std::construct_at(slots() + at);
         if (!take(*slot, at))
            return false;
         count += !(*slot == T());
      }
      if (limit > 0 && slots()[limit - 1] == T())
         return false;
      limit_ = limit;
      count_ = count;
      return true;
   }
   void delAll() { limit_ = count_ = 0; }

   /// How many slots are set.
   std::size_t size() const { return count_; }
   bool empty() const { return count_ == 0; }
   /// One past the last set slot, counted from the lowest index.
   std::size_t limit() const { return limit_; }
   /// The slot at a distance from the lowest index, which must be below limit().
   const T& at(std::size_t distance) const { return slots()[distance]; }

   /// Walks the set slots in index order.
   class Walk {
     public:
      struct Entry {
         Index index;
         const T& value;
      };
      Walk(const IndexedArray& array, std::size_t at) : array_(&array), at_(at) { skipUnset(); }
      Entry operator*() const { return {Index(at_ + Index::lowest), array_->slots()[at_]}; }
      Walk& operator++() {
         ++at_;
         skipUnset();
         return *this;
      }
      bool operator==(std::nullptr_t) const { return at_ >= array_->limit_; }

     private:
      void skipUnset() {
         while (at_ < array_->limit_ && array_->slots()[at_] == T())
            ++at_;
      }
      const IndexedArray* array_;
      std::size_t at_;
   };
   Walk begin() const { return Walk(*this, 0); }
   std::nullptr_t end() const { return nullptr; }

   bool operator==(const IndexedArray& other) const {
      return limit_ == other.limit_ && std::equal(slots(), slots() + limit_, other.slots());
   }
   U32 hash() const {
      Hash hash;
      for (std::size_t i = 0; i < limit_; ++i)
         hashMix(hash, slots()[i]);
      return hash.result();
   }

  private:
   static bool offsetIsValid(std::size_t off) { return off < capacity; }
   static std::size_t offset(Index index) {
      const std::size_t off = std::size_t(index.value()) - Index::lowest;
      if constexpr (requires { Index::sumsUnchecked; }) {
         // The message is the condition as it stands.
         // clang-format off
         vokAssert(offsetIsValid( off ));
         // clang-format on
      }
      return off;
   }
   T* slots() { return reinterpret_cast<T*>(storage_); }
   const T* slots() const { return reinterpret_cast<const T*>(storage_); }

   std::size_t limit_ = 0;
   std::size_t count_ = 0;
   alignas(T) U8 storage_[capacity * sizeof(T)]; ///< slots below limit_ are constructed
};

} // namespace Vok
