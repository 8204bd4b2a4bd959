#include "bench/Measure.h"
#include "bench/Store.h"

#include "Mpls/LfibBatch.h"
#include "Pooltab/VokPooltab.h"

#include <optional>
#include <stdexcept>

namespace Bench {

namespace {

class OurStore : public Store {
  public:
   explicit OurStore(const StoreParameters& parameters)
       : where_{.pool = "lfib", .root = parameters.directory}, lfib_(Mpls::lfibStatusFactory("lfib")),
         mount_(std::in_place, lfib_, where_), writer_(Mpls::lfibWriterFactory(lfib_)) {}

   void prepare(const Chunk& chunk) override {
      routes_.clear();
      keys_.clear();
      for (const U32 label : chunk.labels) {
         routes_.push_back(routeOf(label, chunk.generation));
         keys_.push_back(routeKeyOf(label));
      }
   }
   void publish() override {
      lfibRoutesIs(*writer_, routes_);
      mount_->flush();
   }
   void rewrite() override { publish(); }
   void remove() override {
      lfibRoutesDel(*writer_, keys_);
      mount_->flush();
   }

   double restart() override {
      mount_.reset();
      return timed([&] { mount_.emplace(lfib_, where_); });
   }

   bool isShared() const override { return true; }
   void attach() override {
      seen_ = Mpls::lfibStatusFactory("lfib");
      view_.emplace(seen_, where_);
      if (!view_->isMounted())
         throw std::runtime_error("the tables could not be mounted for reading");
   }

   U64 lookup(std::span<const U32> labels) override {
      const auto& routes = *seen_->lfibRouteTable().tableReader();
      Mpls::LfibRoute route;
      U64 found = 0;
      for (const U32 label : labels)
         found += routes.find(routeKeyOf(label), route);
      return found;
   }

   U64 chase(std::span<const U32> labels) override {
      constexpr std::size_t batch = 256;
      const auto& routes = *seen_->lfibRouteTable().tableReader();
      const auto& viaSets = *seen_->viaSetTable().tableReader();
      const auto& vias = *seen_->mplsViaTable().tableReader();
      std::vector<Mpls::RouteKey> routeKeys(batch);
      std::vector<Mpls::LfibViaSetKey> viaSetKeys(batch);
      std::vector<Mpls::LfibViaKey> viaKeys;
      U64 found = 0;
      for (std::size_t at = 0; at < labels.size(); at += batch) {
         routeKeys.clear();
         viaSetKeys.clear();
         viaKeys.clear();
         for (const U32 label : labels.subspan(at, std::min(batch, labels.size() - at)))
            routeKeys.push_back(routeKeyOf(label));
         routes.findAll(routeKeys, [&](std::size_t, const Mpls::LfibRoute& row) {
            viaSetKeys.push_back(row.viaSetKey());
         });
         viaSets.findAll(viaSetKeys, [&](std::size_t, const Mpls::LfibViaSet& row) {
            viaKeys.push_back(row.viaKey(Mpls::LfibViaIndexRange(0)));
         });
         found += vias.findAll(viaKeys, [](std::size_t, const Mpls::LfibMplsVia& row) { keep(row); });
      }
      return found;
   }

   U64 walk() override {
      return walkTable(*seen_->lfibRouteTable().tableReader()) +
             walkTable(*seen_->viaSetTable().tableReader()) + walkTable(*seen_->mplsViaTable().tableReader());
   }

  private:
   template <class Table>
   static U64 walkTable(const Table& table) {
      U64 rows = 0;
      for (const auto& row : table) {
         keep(row);
         ++rows;
      }
      return rows;
   }

   VokPooltab::MountInfo where_;
   Vok::Ptr<Mpls::LfibStatus> lfib_;
   std::optional<VokPooltab::WriterMount> mount_;
   Vok::Ptr<Mpls::LfibWriter> writer_;
   std::vector<Mpls::ConsolidatedLfibRoute> routes_;
   std::vector<Mpls::RouteKey> keys_; ///< theirs
   Vok::Ptr<Mpls::LfibStatus> seen_;  ///< the reader's
   std::optional<VokPooltab::ReaderMount> view_;
};

} // namespace

std::unique_ptr<Store> makeOurStore(const StoreParameters& parameters) {
   return std::make_unique<OurStore>(parameters);
}

} // namespace Bench
