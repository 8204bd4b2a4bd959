#pragma once
// A list in one block, of which a single small element stands where the list is declared.

#include "Vok/Types.h"

#include <algorithm>
#include <compare>
#include <memory>
#include <utility>

namespace Vok {

/// What a std::vector is, for lists that mostly hold one element: that one costs no memory beside the list,
/// unless it is larger than `inPlaceMax` bytes. Once there have been more, their block is kept until the list
/// goes or is assigned. Inserting and erasing move the elements behind the place.
template <class T>
class ShortList {
  public:
   static constexpr std::size_t inPlaceMax = 48;

   ShortList() = default;
   ShortList(const ShortList& other) { append(other.begin(), other.end()); }
   ShortList(ShortList&& other) noexcept { take(other); }
   ShortList& operator=(const ShortList& other) {
      if (this != &other) {
         clear();
         append(other.begin(), other.end());
      }
      return *this;
   }
   ShortList& operator=(ShortList&& other) noexcept {
      if (this != &other) {
         clear();
         freeBlock();
         take(other);
      }
      return *this;
   }
   ~ShortList() {
      clear();
      freeBlock();
   }

   U32 size() const { return size_; }
   bool empty() const { return size_ == 0; }
   T* begin() { return const_cast<T*>(std::as_const(*this).begin()); }
   T* end() { return begin() + size_; }
   const T* begin() const { return block_ ? block_ : reinterpret_cast<const T*>(inPlace_); }
   const T* end() const { return begin() + size_; }
   const T& operator[](std::size_t at) const { return begin()[at]; }

   /// Puts an element before the one at a distance from the first.
   void insert(std::size_t at, T element) {
      if (size_ == capacity_)
         grow(size_ + 1);
      T* const place = begin() + at;
      if (place == end()) {
         std::construct_at(place, std::move(element));
      } else {
         std::construct_at(end(), std::move(end()[-1]));
         std::move_backward(place, end() - 1, end());
         *place = std::move(element);
      }
      ++size_;
   }
   void erase(std::size_t at) {
      std::move(begin() + at + 1, end(), begin() + at);
      std::destroy_at(begin() + --size_);
   }
   /// Keeps the memory.
   void clear() {
      std::destroy(begin(), end());
      size_ = 0;
   }

   bool operator==(const ShortList& other) const {
      return std::equal(begin(), end(), other.begin(), other.end());
   }
   auto operator<=>(const ShortList& other) const {
      return std::lexicographical_compare_three_way(begin(), end(), other.begin(), other.end());
   }

  private:
   static constexpr U32 inPlace = sizeof(T) <= inPlaceMax ? 1 : 0;

   void append(const T* from, const T* to) {
      const auto count = static_cast<U32>(to - from);
      if (count > capacity_)
         grow(count);
      std::uninitialized_copy(from, to, end());
      size_ += count;
   }
   void grow(U32 least) {
      const U32 capacity = std::max({least, capacity_ * 2, U32(2)});
      T* const block = std::allocator<T>().allocate(capacity);
      std::uninitialized_move(begin(), end(), block);
      std::destroy(begin(), end());
      freeBlock();
      block_ = block;
      capacity_ = capacity;
   }
   void freeBlock() {
      if (block_)
         std::allocator<T>().deallocate(block_, capacity_);
      block_ = nullptr;
      capacity_ = inPlace;
   }
   /// Of a list with neither elements nor a block; leaves the other one so.
   void take(ShortList& other) {
      if (other.block_) {
         block_ = std::exchange(other.block_, nullptr);
         capacity_ = std::exchange(other.capacity_, inPlace);
      } else {
         std::uninitialized_move(other.begin(), other.end(), begin());
         std::destroy(other.begin(), other.end());
      }
      size_ = std::exchange(other.size_, 0);
   }

   T* block_ = nullptr; ///< where the elements are, once there have been more than stand in place
   U32 size_ = 0;
   U32 capacity_ = inPlace;
   alignas(T) U8 inPlace_[inPlace ? sizeof(T) : 1];
};

} // namespace Vok
