#include "tools/mplsctl/lfib/Chain.h"

#include <algorithm>
#include <span>

namespace mplsctl {

namespace {

/// A writer changes a route in a few microseconds; a chain that is still broken after so many looks is.
constexpr int looksMax = 64;

/// Routes whose via sets and vias are fetched together: enough for the cache misses to run side by side.
constexpr std::size_t blockSize = 256;

void readLinks(const LfibTables& tables, Chain& chain) {
   chain.vias.clear();
   const auto viaSet = tables.viaSet.find(chain.route.viaSetKey());
   chain.hasViaSet = viaSet.has_value();
   chain.backup = viaSet ? viaSet->backupViaSetKey() : Mpls::LfibViaSetKey();
   if (!viaSet)
      return;
   for (const auto [slot, key] : viaSet->viaKeyEach())
      chain.vias.push_back({key, tables.via(key)});
}

/// Follows the backups of a chain; true when they hang together.
bool readBackups(const LfibTables& tables, const Chain& chain, std::vector<Chain>& backups) {
   backups.clear();
   bool whole = chain.isWhole();
   std::vector<Mpls::LfibViaSetKey> seen{chain.route.viaSetKey()};
   for (Mpls::LfibViaSetKey key = chain.backup; !!key && std::ranges::find(seen, key) == seen.end();
        key = backups.back().backup) {
      seen.push_back(key);
      Chain& backup = backups.emplace_back();
      backup.route = chain.route;
      backup.route.viaSetKeyIs(key);
      readLinks(tables, backup);
      whole = whole && backup.isWhole();
   }
   return whole;
}

/// A number that orders routes as their keys do, except among those of several labels with one top label.
Vok::U64 rank(const Mpls::RouteKey& key) {
   return Vok::U64{key.labelStack().count()} << 32 | key.topLabel().value();
}

std::vector<Mpls::LfibRoute> routesOf(const LfibTables& tables, const RouteFilter& filter) {
   std::vector<Mpls::LfibRoute> routes;
   routes.reserve(tables.lfibRoute.size());
   Mpls::LfibRoute route;
   for (Vok::U64 slot = 0; tables.lfibRoute.walk(slot, route);)
      if (filter.accepts(route))
         routes.push_back(route);
   return routes;
}

/// The routes in the order of their keys. Sorts numbers: rows are too large to be moved about.
std::vector<const Mpls::LfibRoute*> inOrder(const std::vector<Mpls::LfibRoute>& routes) {
   struct Place {
      Vok::U64 rank;
      const Mpls::LfibRoute* route;
   };
   std::vector<Place> places;
   places.reserve(routes.size());
   for (const Mpls::LfibRoute& route : routes)
      places.push_back({rank(route.key()), &route});
   std::ranges::sort(places, [](const Place& a, const Place& b) {
      return a.rank != b.rank ? a.rank < b.rank : a.route->key() < b.route->key();
   });
   std::vector<const Mpls::LfibRoute*> ordered;
   ordered.reserve(places.size());
   for (const Place& place : places)
      ordered.push_back(place.route);
   return ordered;
}

/// The chains of a block of routes, read table by table.
class Block {
  public:
   explicit Block(const LfibTables& tables) : tables_(tables) {}

   void read(std::span<const Mpls::LfibRoute* const> routes) {
      size_ = routes.size();
      viaSetKeys_.clear();
      for (std::size_t i = 0; i < size_; ++i) {
         Chain& chain = chains_[i];
         chain.route = *routes[i];
         chain.hasViaSet = false;
         chain.backup = Mpls::LfibViaSetKey();
         chain.vias.clear();
         viaSetKeys_.push_back(routes[i]->viaSetKey());
      }
      tables_.viaSet.findAll(viaSetKeys_, [&](std::size_t number, const Mpls::LfibViaSet& viaSet) {
         chains_[number].hasViaSet = true;
         chains_[number].backup = viaSet.backupViaSetKey();
         for (const auto [slot, key] : viaSet.viaKeyEach())
            chains_[number].vias.push_back({key, std::nullopt});
      });
      tables_.eachViaTable([&](const auto& table) { readVias(table); });
   }

   std::span<Chain> chains() { return {chains_.data(), size_}; }

  private:
   template <class Row>
   void readVias(const Pooltab::TableReader<Row>& table) {
      keys_.clear();
      links_.clear();
      for (Chain& chain : chains())
         for (Chain::Link& link : chain.vias)
            if (link.key.viaType() == Row::viaType) {
               keys_.push_back(link.key);
               links_.push_back(&link);
            }
      if (!keys_.empty())
         table.findAll(keys_, [&](std::size_t number, const Row& row) { links_[number]->row.emplace(row); });
   }

   const LfibTables& tables_;
   std::size_t size_ = 0;
   std::vector<Chain> chains_ = std::vector<Chain>(blockSize);
   std::vector<Mpls::LfibViaSetKey> viaSetKeys_;
   std::vector<Mpls::LfibViaKey> keys_;
   std::vector<Chain::Link*> links_;
};

} // namespace

bool Chain::isWhole() const {
   return hasViaSet && std::ranges::all_of(vias, [](const Link& link) { return link.row.has_value(); });
}

bool RouteFilter::accepts(const Mpls::LfibRoute& route) const {
   const Vok::U32 label = route.key().topLabel().value();
   return (!source || route.source() == *source) && label >= lowest && label <= highest;
}

bool readChain(const LfibTables& tables, const Mpls::RouteKey& key, Chain& chain) {
   for (int look = 0; look < looksMax; ++look) {
      if (!tables.lfibRoute.find(key, chain.route))
         return false;
      readLinks(tables, chain);
      if (chain.isWhole())
         break;
   }
   return true;
}

std::vector<Chain> backupsOf(const LfibTables& tables, Chain chain) {
   std::vector<Chain> backups;
   for (int look = 0; look < looksMax && !readBackups(tables, chain, backups); ++look)
      if (!readChain(tables, Mpls::RouteKey(chain.route.key()), chain))
         return {}; // the route has gone
   return backups;
}

void eachChain(const LfibTables& tables, const RouteFilter& filter,
               const std::function<void(const Chain&)>& visit) {
   const std::vector<Mpls::LfibRoute> rows = routesOf(tables, filter);
   const std::vector<const Mpls::LfibRoute*> routes = inOrder(rows);
   Block block(tables);
   for (std::size_t start = 0; start < routes.size(); start += blockSize) {
      block.read(std::span(routes).subspan(start, std::min(blockSize, routes.size() - start)));
      for (Chain& chain : block.chains()) {
         // A link that is missing is most often one that the writer replaced since the route was read.
         if (chain.isWhole() || readChain(tables, Mpls::RouteKey(chain.route.key()), chain))
            visit(chain);
      }
   }
}

} // namespace mplsctl
