#include "bench/Stream.h"

#include <absl/container/flat_hash_map.h>

/// An observer in the writer's own process: a virtual call a change, in which it looks the row up and copies
/// it.

namespace Bench {

namespace {

using Table = absl::flat_hash_map<RouteKeyBlob, RouteBlob>;

class Observer {
  public:
   virtual ~Observer() = default;
   virtual void onChange(const RouteKeyBlob& key) = 0;
};

class RowCopier : public Observer {
  public:
   explicit RowCopier(const Table& table) : table_(table) {}
   void onChange(const RouteKeyBlob& key) override {
      const RouteBlob row = table_.find(key)->second;
      keep(row);
   }

  private:
   const Table& table_;
};

} // namespace

double observerStream(const std::vector<U32>& labels) {
   StreamRows rows(labels);
   Table table;
   for (const RouteBlob& row : rows.all())
      table.emplace(blobAt<RouteKeyBlob>(row), row);
   RowCopier copier(table);
   Observer* observer = &copier;
   asm volatile("" : "+r"(observer));
   const double spent = timed([&] {
      for (U64 change = 0; change < streamChanges; ++change) {
         const RouteBlob& row = rows[change];
         const auto& key = blobAt<RouteKeyBlob>(row);
         table.insert_or_assign(key, row);
         observer->onChange(key);
      }
   });
   return spent / static_cast<double>(streamChanges);
}

} // namespace Bench
