#include "tools/config/Preview.h"

#include "Vok/EntityType.h"

#include <algorithm>
#include <map>

namespace tools::config {

using Mpls::RouteKey;

namespace {

/// Of two collections of routes, inputs or merged configurations.
template <class Collection>
std::vector<RouteStep> routeSteps(const Collection& before, const Collection& after) {
   std::vector<RouteStep> steps;
   for (const auto& entry : after.routeEach()) {
      const Vok::Ptr<const Mpls::Route> old = before.route(entry.key);
      if (!old || !Cli::Session::isEqual(*old, *entry.value))
         steps.push_back({old ? Step::changed : Step::added, entry.key, old, entry.value});
   }
   for (const auto& entry : before.routeEach())
      if (!after.routeHas(entry.key))
         steps.push_back({Step::removed, entry.key, entry.value, nullptr});
   std::ranges::sort(steps, {}, &RouteStep::key);
   return steps;
}

template <class Collection>
std::vector<VrfLabelStep> vrfLabelSteps(const Collection& before, const Collection& after) {
   std::vector<VrfLabelStep> steps;
   for (const auto& entry : after.vrfLabelEach()) {
      const Mpls::VrfLabel old = before.vrfLabel(entry.key);
      if (old != entry.value)
         steps.push_back({!old ? Step::added : Step::changed, old, entry.value});
   }
   for (const auto& entry : before.vrfLabelEach())
      if (!after.vrfLabelHas(entry.key))
         steps.push_back({Step::removed, entry.value, {}});
   std::ranges::sort(steps, {}, [](const VrfLabelStep& step) {
      return step.step == Step::removed ? step.before.label() : step.after.label();
   });
   return steps;
}

/// Every value in an entity's attributes, by "attribute" or "attribute KEY".
std::map<std::string, std::string> valuesOf(const Vok::Entity& entity) {
   std::map<std::string, std::string> values;
   const auto textOf = [](const Vok::Type* type, const void* value) {
      std::string text;
      if (type && value)
         type->print(value, text);
      return text;
   };
   for (const Vok::Attribute& attribute : entity.vokEntityType().attributes()) {
      const std::string name(attribute.name);
      if (attribute.access.get)
         values[name] = textOf(attribute.valueType, attribute.access.get(entity));
      else if (attribute.access.walk)
         attribute.access.walk(entity, [&](const void* key, const void* value) {
            values[name + " " + textOf(attribute.keyType, key)] = textOf(attribute.valueType, value);
         });
   }
   return values;
}

std::vector<SettingStep> settingSteps(const Vok::Entity& before, const Vok::Entity& after) {
   std::vector<SettingStep> steps;
   std::map<std::string, std::string> old = valuesOf(before);
   for (const auto& [what, value] : valuesOf(after)) {
      const auto found = old.find(what);
      if (found == old.end())
         steps.push_back({Step::added, what, {}, value});
      else if (found->second != value)
         steps.push_back({Step::changed, what, found->second, value});
      if (found != old.end())
         old.erase(found);
   }
   for (const auto& [what, value] : old)
      steps.push_back({Step::removed, what, value, {}});
   return steps;
}

/// Label stacks for which the merged configurations differ.
std::vector<RouteKey> touched(const Preview& preview) {
   std::vector<RouteKey> keys;
   for (const RouteStep& step : preview.mergedRoutes)
      keys.push_back(step.key.routeKey());
   for (const VrfLabelStep& step : preview.mergedVrfLabels)
      keys.push_back(
          RouteKey::fromLabel(step.step == Step::removed ? step.before.label() : step.after.label()));
   std::ranges::sort(keys);
   keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
   return keys;
}

void produceFor(const RouteKey& key, const LowestRoutes& routes, const Mpls::VrfLabelConfig& vrfLabels,
                LfibWish& wish) {
   const auto found = routes.find(key);
   produce(key, found == routes.end() ? nullptr : found->second, vrfLabelOf(vrfLabels, key), wish);
}

std::vector<LfibStep> lfibSteps(const Preview& preview, const Merge& before, const Merge& after) {
   const LowestRoutes routesBefore = lowestRoutes(*before.routes());
   const LowestRoutes routesAfter = lowestRoutes(*after.routes());
   std::vector<LfibStep> steps;
   for (const RouteKey& key : touched(preview)) {
      LfibStep step{Step::changed, key, {}, {}};
      produceFor(key, routesBefore, *before.vrfLabels(), step.before);
      produceFor(key, routesAfter, *after.vrfLabels(), step.after);
      if (step.before == step.after)
         continue;
      if (step.before.kind == LfibWish::Kind::none)
         step.step = Step::added;
      else if (step.after.kind == LfibWish::Kind::none)
         step.step = Step::removed;
      steps.push_back(std::move(step));
   }
   return steps;
}

Inputs inputsOf(Inputs others, const Side& side) {
   others.routes[std::string(cliSource)] = side.routes;
   others.vrfLabels[std::string(cliSource)] = side.vrfLabels;
   return others;
}

/// What is in `these` and not in `those`.
std::vector<Withheld> without(const std::vector<Withheld>& these, const std::vector<Withheld>& those) {
   const auto isSame = [](const Withheld& a, const Withheld& b) {
      return a.reason == b.reason && a.key == b.key && a.metric == b.metric && a.sources == b.sources &&
             a.why == b.why;
   };
   std::vector<Withheld> left;
   for (const Withheld& entry : these) {
      // Both are in the order of their keys.
      const auto range = std::ranges::equal_range(those, entry.key, {}, &Withheld::key);
      if (std::ranges::none_of(range, [&](const Withheld& other) { return isSame(entry, other); }))
         left.push_back(entry);
   }
   return left;
}

} // namespace

std::string_view stringValue(Step step) {
   return step == Step::added ? "added" : step == Step::changed ? "changed" : "removed";
}

bool Preview::empty() const {
   return source.empty() && mergedRoutes.empty() && mergedVrfLabels.empty() && appearing.empty() &&
          going.empty() && lfib.empty();
}

Changes changes(const Side& before, const Side& after) {
   return {routeSteps(*before.routes, *after.routes), vrfLabelSteps(*before.vrfLabels, *after.vrfLabels),
           settingSteps(*before.settings, *after.settings)};
}

Preview preview(const Vok::Ptr<Hubdb::EntityManager>& manager, const Side& before, const Side& after,
                const std::function<void(const std::function<bool()>&)>& turnUntil) {
   const Merge mergedBefore(manager, before.routes, before.vrfLabels);
   const Merge mergedAfter(manager, after.routes, after.vrfLabels);
   turnUntil([&] { return mergedBefore.isReady() && mergedAfter.isReady(); });

   Preview result;
   result.source = changes(before, after);
   result.mergedRoutes = routeSteps(*mergedBefore.routes(), *mergedAfter.routes());
   result.mergedVrfLabels = vrfLabelSteps(*mergedBefore.vrfLabels(), *mergedAfter.vrfLabels());
   result.lfib = lfibSteps(result, mergedBefore, mergedAfter);

   const Inputs others = presentInputs(*manager);
   const std::vector<Withheld> old = withheld(inputsOf(others, before));
   const std::vector<Withheld> now = withheld(inputsOf(others, after));
   result.appearing = without(now, old);
   result.going = without(old, now);
   return result;
}

} // namespace tools::config
