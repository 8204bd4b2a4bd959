#pragma once

#include "tools/common/HashOfKey.h"
#include "tools/mplsctl/lfib/Chain.h"

#include <optional>
#include <unordered_map>
#include <vector>

/// Follows the routes of an LFIB from a reading process.

namespace mplsctl {

/// What a Watcher tells, in order. A chain is good until the call returns.
class WatchObserver {
  public:
   virtual ~WatchObserver() = default;
   /// The state follows, route by route: it holds all that was written up to that change, and may hold some
   /// of what was written since.
   virtual void onState(Vok::U64 version, Vok::U64 routes) = 0;
   virtual void onStateRoute(const Chain& chain) = 0;
   /// Every change up to this one was told.
   virtual void onCaughtUp(Vok::U64 version) = 0;
   enum class Event { added, changed, removed };
   /// A route as it now stands; null when it is gone now. Numbers rise; one change may touch several routes.
   virtual void onChange(Vok::U64 number, Event event, const Mpls::RouteKey& key, const Chain* chain) = 0;
   /// The changes from `first` to `last` are lost, for the log no longer had them; the state follows.
   virtual void onGap(Vok::U64 first, Vok::U64 last) = 0;
};

/// Tells an observer the state and then every change of a route: of its row, or of its via set's. Vias never
/// change under their key.
class Watcher : private Pooltab::TableListener {
  public:
   Watcher(LfibTables& tables, const RouteFilter& filter, WatchObserver& observer);
   ~Watcher() override;
   Watcher(const Watcher&) = delete;

   /// Begins to listen, and tells the state, or goes on behind the change `since`. Call it once, first.
   void start(std::optional<Vok::U64> since);
   /// Tells of some of the changes that came. Returns true when it has caught up.
   bool deliver();
   /// Readable when deliver() may have something to tell, from start() on. Drain first.
   int descriptor() const { return tables_.pool.descriptor(); }
   void drain() { tables_.pool.drain(); }

  private:
   void onChange(Pooltab::TableView& table, const Pooltab::Change& change) override;
   void onCollection(Pooltab::TableView& table) override;
   void onMountStatus(Pooltab::TableView&) override {}

   void tellState(bool aloud);
   void tellRoute(Vok::U64 number, const Mpls::RouteKey& key);
   void remember(const Mpls::LfibRoute& route);
   bool forget(const Mpls::RouteKey& key);

   LfibTables& tables_;
   RouteFilter filter_;
   WatchObserver& observer_;
   Vok::U64 told_ = 0; ///< the last change that was told, or that the state holds
   Chain chain_;
   /// Which via set each route uses and the other way round, as far as they were told.
   std::unordered_map<Mpls::RouteKey, Mpls::LfibViaSetKey, tools::HashOfKey> viaSetOf_;
   std::unordered_map<Mpls::LfibViaSetKey, std::vector<Mpls::RouteKey>, tools::HashOfKey> routesOf_;
};

} // namespace mplsctl
