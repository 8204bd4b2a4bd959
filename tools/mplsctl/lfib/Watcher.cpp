#include "tools/mplsctl/lfib/Watcher.h"

#include <algorithm>

namespace mplsctl {

namespace {

constexpr std::size_t deliveredAtOnce = 1024;

template <class Key>
bool keyOf(const Pooltab::Change& change, Key& key) {
   return Vok::rowLoad(key, change.key, change.keyBytes);
}

} // namespace

Watcher::Watcher(LfibTables& tables, const RouteFilter& filter, WatchObserver& observer)
    : tables_(tables), filter_(filter), observer_(observer) {
   tables_.lfibRoute.view().listenerIs(this);
   tables_.viaSet.view().listenerIs(this);
}

Watcher::~Watcher() {
   tables_.lfibRoute.view().listenerIs(nullptr);
   tables_.viaSet.view().listenerIs(nullptr);
}

void Watcher::start(std::optional<Vok::U64> since) {
   tables_.pool.descriptor(); // listening begins, so that whoever sleeps behind the state is woken
   tables_.pool.positionIs(tables_.pool.logPosition()); // what is older stands in the state
   tellState(!since);
   if (since) {
      tables_.pool.positionIs(*since);
      told_ = *since;
   }
}

bool Watcher::deliver() {
   const bool caughtUp = tables_.pool.deliver(deliveredAtOnce) < deliveredAtOnce;
   told_ = std::max(told_, tables_.pool.position());
   return caughtUp;
}

void Watcher::tellState(bool aloud) {
   told_ = tables_.pool.position();
   viaSetOf_.clear();
   routesOf_.clear();
   if (aloud)
      observer_.onState(told_, tables_.lfibRoute.size());
   eachChain(tables_, filter_, [&](const Chain& chain) {
      remember(chain.route);
      if (aloud)
         observer_.onStateRoute(chain);
   });
}

void Watcher::onChange(Pooltab::TableView& table, const Pooltab::Change& change) {
   told_ = change.sequence;
   if (&table == &tables_.lfibRoute.view()) {
      if (Mpls::RouteKey key; keyOf(change, key))
         tellRoute(change.sequence, key);
      return;
   }
   Mpls::LfibViaSetKey key;
   if (change.operation != Pooltab::Operation::set || !keyOf(change, key))
      return;
   // A via set that was rewritten under its key changes every route that uses it.
   if (const auto found = routesOf_.find(key); found != routesOf_.end())
      for (const Mpls::RouteKey& route : std::vector(found->second))
         tellRoute(change.sequence, route);
}

void Watcher::onCollection(Pooltab::TableView&) {
   // Both tables are told of one gap.
   const Vok::U64 now = tables_.pool.position();
   if (told_ == now)
      return;
   observer_.onGap(told_ + 1, now);
   tellState(true);
}

void Watcher::tellRoute(Vok::U64 number, const Mpls::RouteKey& key) {
   using enum WatchObserver::Event;
   const bool known = viaSetOf_.contains(key);
   if (readChain(tables_, key, chain_) && filter_.accepts(chain_.route)) {
      forget(key);
      remember(chain_.route);
      observer_.onChange(number, known ? changed : added, key, &chain_);
   } else if (forget(key)) {
      observer_.onChange(number, removed, key, nullptr);
   }
}

void Watcher::remember(const Mpls::LfibRoute& route) {
   viaSetOf_.insert_or_assign(route.key(), route.viaSetKey());
   routesOf_[route.viaSetKey()].push_back(route.key());
}

bool Watcher::forget(const Mpls::RouteKey& key) {
   const auto known = viaSetOf_.find(key);
   if (known == viaSetOf_.end())
      return false;
   const auto users = routesOf_.find(known->second);
   std::erase(users->second, key);
   if (users->second.empty())
      routesOf_.erase(users);
   viaSetOf_.erase(known);
   return true;
}

} // namespace mplsctl
