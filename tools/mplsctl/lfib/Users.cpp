#include "tools/mplsctl/lfib/Users.h"

#include <algorithm>

namespace mplsctl {

std::map<Mpls::LfibViaSetKey, std::vector<Mpls::RouteKey>>
routesUsing(const LfibTables& tables, const std::vector<Mpls::LfibViaSetKey>& viaSets) {
   std::map<Mpls::LfibViaSetKey, std::vector<Mpls::RouteKey>> users;
   for (const Mpls::LfibViaSetKey& key : viaSets)
      users[key];
   for (const Mpls::LfibRoute& route : tables.lfibRoute)
      if (const auto found = users.find(route.viaSetKey()); found != users.end())
         found->second.push_back(route.key());
   for (auto& [key, routes] : users)
      std::ranges::sort(routes);
   return users;
}

std::vector<Mpls::LfibViaSetKey> viaSetsListing(const LfibTables& tables, const Mpls::LfibViaKey& via) {
   std::vector<Mpls::LfibViaSetKey> viaSets;
   for (const Mpls::LfibViaSet& viaSet : tables.viaSet)
      for (const auto [slot, key] : viaSet.viaKeyEach())
         if (key == via) {
            viaSets.push_back(viaSet.key());
            break;
         }
   std::ranges::sort(viaSets);
   return viaSets;
}

} // namespace mplsctl
