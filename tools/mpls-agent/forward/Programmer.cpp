#include "tools/mpls-agent/forward/Programmer.h"

#include "Vok/Observer.h"
#include "Vok/Trace.h"

namespace agent {

using Mpls::LfibViaSetKey;
using Mpls::RouteKey;

namespace {

constinit Vok::TraceFacility trace("Programmer");

/// A writer replaces a route in a few microseconds, and tells of it. What is still broken after so many looks
/// is reported as such, until the tables tell of a change.
constexpr int looksMax = 8;

} // namespace

/// Collects the routes that enter the backlog, and leaves them there for whoever drains it.
class Programmer::Changes final : public Vok::Observer<Programmer::Changes, Mpls::LfibTrackingStatus> {
  public:
   explicit Changes(Programmer& owner) : Observer(owner.tracked_), owner_(owner) {
      for (const RouteKey& key : owner.tracked_->routeKeyBacklogEach())
         owner.changedRoutes_.insert(key);
   }
   void onRouteKeyBacklog(const RouteKey& key) override { owner_.changedRoutes_.insert(key); }

  private:
   Programmer& owner_;
};

/// Vias that come after the via set that lists them, go before it, or change under their key. The tracking
/// machine does not watch for that, since the writer of the LFIB does none of it; others may.
class Programmer::ViaWatch final : public Vok::Notifiee {
  public:
   explicit ViaWatch(Programmer& owner) : Notifiee(owner.lfib_), owner_(owner) {}
   void vokOnChange(Vok::AttrId attr, const void* key) override {
      using Mpls::LfibStatus;
      if (attr == LfibStatus::lfibRouteAttr || attr == LfibStatus::viaSetAttr ||
          attr == LfibStatus::dot1qTagToVlanCollAttr || attr == LfibStatus::dot1qTagToVlanCompositeAttr)
         return;
      owner_.tracking_->handleVia(*static_cast<const Mpls::LfibViaKey*>(key));
   }

  private:
   Programmer& owner_;
};

Programmer::Programmer(const Vok::Ptr<const Mpls::LfibStatus>& lfib, ForwardingTable& table)
    : lfib_(lfib), table_(table), tracked_(Mpls::lfibTrackingStatusFactory("forward")),
      tracking_(
          Mpls::lfibTrackingSmFactory(lfib, tracked_, Mpls::LfibTrackingMode::vokUniversal(), "forward")),
      changes_(std::make_unique<Changes>(*this)), viaWatch_(std::make_unique<ViaWatch>(*this)) {}

Programmer::~Programmer() = default;

void Programmer::settle() {
   // Via sets first: a route then finds its adjacency as it stands now.
   for (const LfibViaSetKey& key : tracked_->viaSetKeyBacklogEach()) {
      tracked_->viaSetKeyBacklogDel(key);
      settleViaSet(key);
   }
   for (const RouteKey& key : changedRoutes_) {
      tracked_->routeKeyBacklogDel(key);
      settleRoute(key);
   }
   changedRoutes_.clear();
}

void Programmer::settleViaSet(const LfibViaSetKey& key) {
   if (!table_.adjacency(key))
      return; // the first route that uses it reads it
   readAdjacency(key);
   table_.adjacencyIs(key, adjacency_);
}

void Programmer::settleRoute(const RouteKey& key) {
   Mpls::LfibRoute row;
   const ForwardingTable::Adjacency* known = nullptr;
   for (int look = 0; look < looksMax; ++look) {
      if (!Pooltab::checkedFind(lfib_->lfibRouteTable(), key, row))
         return table_.routeDel(key);
      known = table_.adjacency(row.viaSetKey());
      if (known && known->isWhole)
         break;
      readAdjacency(row.viaSetKey());
      if (adjacency_.isWhole)
         break;
   }
   if (!known || !known->isWhole)
      table_.adjacencyIs(row.viaSetKey(), adjacency_);
   table_.routeIs(key, row.viaSetKey(), row.metric());
   if (auto line = trace.at(1))
      line << "route " << key << " " << stringValue(table_.route(key)->code);
}

/// Into adjacency_.
void Programmer::readAdjacency(const LfibViaSetKey& key) {
   adjacency_.vias.clear();
   Mpls::LfibViaSet viaSet;
   adjacency_.isWhole = Pooltab::checkedFind(lfib_->viaSetTable(), key, viaSet);
   if (!adjacency_.isWhole)
      return;
   for (const auto [slot, viaKey] : viaSet.viaKeyEach()) {
      if (auto via = tools::viaRow(*lfib_, viaKey))
         adjacency_.vias.push_back(*via);
      else
         adjacency_.isWhole = false;
   }
}

} // namespace agent
