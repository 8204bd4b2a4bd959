#include "Hubdb/DirtyMarks.h"

#include "Vok/Hash.h"

#include <algorithm>
#include <bit>

namespace Hubdb {

using Vok::U32;

namespace {

constexpr std::size_t smallIndex = 64;
constexpr std::size_t keptEntries = 1 << 16; ///< an emptied queue keeps memory for so many

} // namespace

U32 DirtyMarks::hashOf(EntityNumber entity, Vok::AttrId attr, Bytes key) {
   Vok::Hash hash;
   hash.mix(Vok::U64(entity) << 16 | attr);
   hash.mix(key.data(), key.size());
   return hash.result();
}

std::size_t DirtyMarks::placeOf(EntityNumber entity, Vok::AttrId attr, Bytes key, U32 hash) const {
   std::size_t place = hash & (index_.size() - 1);
   for (; index_[place] != none; place = (place + 1) & (index_.size() - 1)) {
      const Entry& entry = entries_[index_[place]];
      if (entry.hash == hash && entry.entity == entity && entry.attr == attr &&
          std::ranges::equal(keyOf(entry), key))
         break;
   }
   return place;
}

bool DirtyMarks::mark(EntityNumber entity, Vok::AttrId attr, Bytes key) {
   if ((entries_.size() + 1) * 2 > index_.size())
      rebuild();
   const U32 hash = hashOf(entity, attr, key);
   U32& number = index_[placeOf(entity, attr, key, hash)];
   if (number != none && number >= taken_)
      return false;
   number = static_cast<U32>(entries_.size());
   entries_.push_back({entity, static_cast<U32>(keys_.size()), hash, static_cast<U32>(key.size()), attr});
   keys_.insert(keys_.end(), key.begin(), key.end());
   return true;
}

bool DirtyMarks::has(EntityNumber entity, Vok::AttrId attr, Bytes key) const {
   if (empty())
      return false;
   const U32 number = index_[placeOf(entity, attr, key, hashOf(entity, attr, key))];
   return number != none && number >= taken_;
}

DirtyMarks::Mark DirtyMarks::take() {
   const Entry& entry = entries_[taken_++];
   return {entry.entity, entry.attr, keyOf(entry)};
}

/// Drops what has been taken and makes room for as many marks again.
void DirtyMarks::rebuild() {
   const U32 keysTaken = taken_ < entries_.size() ? entries_[taken_].keyAt : static_cast<U32>(keys_.size());
   entries_.erase(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(taken_));
   keys_.erase(keys_.begin(), keys_.begin() + keysTaken);
   taken_ = 0;
   index_.assign(std::max(smallIndex, std::bit_ceil((entries_.size() + 1) * 4)), none);
   for (U32 number = 0; number < entries_.size(); ++number) {
      Entry& entry = entries_[number];
      entry.keyAt -= keysTaken;
      std::size_t place = entry.hash & (index_.size() - 1);
      while (index_[place] != none)
         place = (place + 1) & (index_.size() - 1);
      index_[place] = number;
   }
}

void DirtyMarks::clear() {
   if (entries_.size() > keptEntries) {
      *this = DirtyMarks();
      return;
   }
   // A full index is wiped whole; of a nearly empty one only the places in use.
   if (entries_.size() * 8 > index_.size()) {
      std::ranges::fill(index_, none);
   } else {
      for (const Entry& entry : entries_)
         for (std::size_t place = entry.hash & (index_.size() - 1); index_[place] != none;
              place = (place + 1) & (index_.size() - 1))
            index_[place] = none;
   }
   entries_.clear();
   keys_.clear();
   taken_ = 0;
}

} // namespace Hubdb
