#include "tools/config/Withheld.h"

#include "tools/config/RouteProducer.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <unordered_map>

namespace tools::config {

using Mpls::RouteKey;
using Mpls::RouteKeyAndMetric;

namespace {

struct RouteOf {
   const std::string* source;
   const Mpls::Route* route;
};
struct BindingOf {
   const std::string* source;
   Mpls::VrfLabel label;
};

std::string routeDel(const std::string& source, const RouteKeyAndMetric& key) {
   return fmt::format("mplsctl source {} route del {} metric {}", source, labelWords(key.routeKey()),
                      key.metric().value());
}

std::string vrfLabelDel(const std::string& source, const RouteKey& key) {
   return fmt::format("mplsctl source {} vrf-label del {}", source, labelWords(key));
}

/// One remedy a source: what leaves it alone.
template <class Entries, class Command>
void keepOne(Withheld& result, const Entries& entries, const Command& command) {
   for (const auto& kept : entries) {
      Withheld::Remedy remedy{"keep that of " + *kept.source, {}};
      for (const auto& other : entries)
         if (&other != &kept)
            remedy.commands.push_back(command(*other.source));
      result.remedies.push_back(std::move(remedy));
   }
}

/// The whole configuration by what it is about, with what holds of it.
class Survey {
  public:
   Survey(const Inputs& inputs, const RouteKey* only) {
      for (const auto& [source, input] : inputs.routes)
         for (const auto& entry : input->routeEach())
            if (!only || entry.key.routeKey() == *only)
               routes_[entry.key].push_back({&source, entry.value.get()});
      for (const auto& [source, input] : inputs.vrfLabels)
         for (const auto& entry : input->vrfLabelEach())
            if (!only || RouteKey::fromLabel(entry.key) == *only)
               bindings_[RouteKey::fromLabel(entry.key)].push_back({&source, entry.value});
   }

   std::vector<Withheld> take() {
      for (const auto& [key, bindings] : bindings_)
         weigh(key, bindings);
      for (const auto& [key, routes] : routes_)
         weigh(key, routes);
      for (const auto& [key, route] : lowest_)
         weighMerged(key, route);
      std::ranges::stable_sort(found_, [](const Withheld& a, const Withheld& b) {
         return std::tie(a.key, a.metric, a.sources) < std::tie(b.key, b.metric, b.sources);
      });
      return std::move(found_);
   }

  private:
   void weigh(const RouteKeyAndMetric& key, const std::vector<RouteOf>& routes) {
      if (routes.size() == 1) {
         RouteOf& lowest = lowest_[key.routeKey()];
         if (!lowest.route || key.metric() < lowest.route->key().metric())
            lowest = routes.front();
         return;
      }
      Withheld result{Withheld::Reason::severalSources, key.routeKey(), key.metric(), {}, {}, {}, {}};
      for (const RouteOf& entry : routes)
         result.sources.push_back(*entry.source);
      result.why = fmt::format("{} sources configure this route, so that it is withheld", routes.size());
      keepOne(result, routes, [&](const std::string& source) { return routeDel(source, key); });
      found_.push_back(std::move(result));
   }

   void weigh(const RouteKey& key, const std::vector<BindingOf>& bindings) {
      const auto fixed =
          std::ranges::find_if(bindings, [](const BindingOf& entry) { return !entry.label.dynamic(); });
      if (fixed != bindings.end() || bindings.size() == 1) {
         const BindingOf& winner = fixed != bindings.end() ? *fixed : bindings.front();
         holding_[key] = winner;
         for (const BindingOf& entry : bindings)
            if (&entry != &winner)
               givesWay(key, entry, winner, bindings);
         return;
      }
      Withheld result{Withheld::Reason::severalDynamic, key, {}, {}, {}, {}, {}};
      for (const BindingOf& entry : bindings)
         result.sources.push_back(*entry.source);
      result.why =
          fmt::format("{} sources bind this label dynamically, so that it is withheld", bindings.size());
      keepOne(result, bindings, [&](const std::string& source) { return vrfLabelDel(source, key); });
      found_.push_back(std::move(result));
   }

   void givesWay(const RouteKey& key, const BindingOf& loser, const BindingOf& winner,
                 const std::vector<BindingOf>& bindings) {
      Withheld result{Withheld::Reason::givesWay, key, {}, {*loser.source}, *winner.source, {}, {}};
      result.why = fmt::format("the binding to {} gives way to that of {} to {}, {}", vrfText(loser.label),
                               *winner.source, vrfText(winner.label),
                               loser.label.dynamic() ? "which is not dynamic"
                                                     : "the first of those that are not dynamic");
      result.remedies.push_back({"give it up", {vrfLabelDel(*loser.source, key)}});
      // What stands in the way of the loser: all fixed bindings before it; a dynamic one, all others.
      Withheld::Remedy keep{"keep that of " + *loser.source, {}};
      for (const BindingOf& entry : bindings)
         if (&entry != &loser && (loser.label.dynamic() || (!entry.label.dynamic() && &entry < &loser)))
            keep.commands.push_back(vrfLabelDel(*entry.source, key));
      result.remedies.push_back(std::move(keep));
      found_.push_back(std::move(result));
   }

   /// A route that is merged, and the lowest of its label stack.
   void weighMerged(const RouteKey& key, const RouteOf& entry) {
      const auto holding = holding_.find(key);
      const Mpls::VrfLabel binding = holding == holding_.end() ? Mpls::VrfLabel() : holding->second.label;
      produce(key, entry.route, binding, wish_);
      const RouteKeyAndMetric& whole = entry.route->key();
      if (wish_.vrfLabelWins) {
         Withheld result{Withheld::Reason::vrfLabelWins, key, whole.metric(), {*entry.source}, {}, {}, {}};
         result.winner = *holding->second.source;
         result.why = fmt::format("the route gives way to the binding of its label by {} to {}",
                                  result.winner, vrfText(binding));
         result.remedies.push_back({"give it up", {routeDel(*entry.source, whole)}});
         // Without this binding another one of the label might hold.
         Withheld::Remedy keep{"keep the route", {}};
         for (const BindingOf& other : bindings_.at(key))
            keep.commands.push_back(vrfLabelDel(*other.source, key));
         result.remedies.push_back(std::move(keep));
         found_.push_back(std::move(result));
      }
      if (wish_.unwritten.empty())
         return;
      Withheld result{Withheld::Reason::unwritten, key, whole.metric(), {*entry.source}, {}, {}, {}};
      result.why = fmt::format("{}", fmt::join(wish_.unwritten, "; "));
      result.remedies.push_back(
          {"give it next hops that the tables hold",
           {fmt::format("mplsctl source {} route replace {} as LABEL via inet ADDRESS dev NAME metric {}",
                        *entry.source, labelWords(key), whole.metric().value())}});
      found_.push_back(std::move(result));
   }

   std::unordered_map<RouteKeyAndMetric, std::vector<RouteOf>, HashOfKey> routes_;
   std::unordered_map<RouteKey, std::vector<BindingOf>, HashOfKey> bindings_;
   std::unordered_map<RouteKey, RouteOf, HashOfKey> lowest_;
   std::unordered_map<RouteKey, BindingOf, HashOfKey> holding_;
   std::vector<Withheld> found_;
   LfibWish wish_;
};

} // namespace

std::string_view stringValue(Withheld::Reason reason) {
   switch (reason) {
   case Withheld::Reason::severalSources:
      return "severalSources";
   case Withheld::Reason::severalDynamic:
      return "severalDynamic";
   case Withheld::Reason::givesWay:
      return "givesWay";
   case Withheld::Reason::vrfLabelWins:
      return "vrfLabelWins";
   case Withheld::Reason::unwritten:
      return "unwritten";
   }
   return "unknown";
}

std::string vrfText(const Mpls::VrfLabel& label) {
   return fmt::format("VRF {}{}", label.vrfName().text(), label.dynamic() ? " (dynamic)" : "");
}

std::string sentence(const Withheld& withheld) {
   std::string text = labelWords(withheld.key);
   if (withheld.metric != Mpls::RouteMetric())
      text += fmt::format(" metric {}", withheld.metric.value());
   return text + fmt::format(" from {}: {}", fmt::join(withheld.sources, ", "), withheld.why);
}

std::vector<Withheld> withheld(const Inputs& inputs, const RouteKey* only) {
   return Survey(inputs, only).take();
}

std::string labelWords(const RouteKey& key) {
   const Kinet::BoundedMplsLabelStack& stack = key.labelStack();
   std::string words;
   for (unsigned slot = stack.count(); slot-- > 0;) {
      words += std::to_string(stack.label(Kinet::MplsStackEntryIndex(slot)).value());
      if (slot > 0)
         words += '/';
   }
   return words;
}

} // namespace tools::config
