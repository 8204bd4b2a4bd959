#pragma once

#include "tools/config/Candidate.h"
#include "tools/config/Inputs.h"
#include "tools/config/Merge.h"
#include "tools/config/RouteProducer.h"
#include "tools/config/Withheld.h"

#include <functional>

/// What a change of the command line's configuration would do, before it is done.

namespace tools::config {

enum class Step { added, changed, removed };
std::string_view stringValue(Step step);

struct RouteStep {
   Step step;
   Mpls::RouteKeyAndMetric key;
   Vok::Ptr<const Mpls::Route> before, after; ///< null when there is none
};
struct VrfLabelStep {
   Step step;
   Mpls::VrfLabel before, after; ///< empty when there is none
};
struct LfibStep {
   Step step;
   Mpls::RouteKey key;
   LfibWish before, after;
};
struct SettingStep {
   Step step;
   std::string what;          ///< the attribute, and the key of an entry
   std::string before, after; ///< text forms; empty when there is none
};

/// What distinguishes one side from another, in the order of the keys.
struct Changes {
   std::vector<RouteStep> routes;
   std::vector<VrfLabelStep> vrfLabels;
   std::vector<SettingStep> settings;

   bool empty() const { return routes.empty() && vrfLabels.empty() && settings.empty(); }
};
Changes changes(const Side& before, const Side& after);

/// All in the order of the keys.
struct Preview {
   Changes source;
   std::vector<RouteStep> mergedRoutes;
   std::vector<VrfLabelStep> mergedVrfLabels;
   std::vector<Withheld> appearing; ///< conflicts that there would be
   std::vector<Withheld> going;     ///< conflicts that there would be no more
   std::vector<LfibStep> lfib;

   bool empty() const;
};

/// Runs the merge machines over both sides, with the other sources as they are, and the producer of routes
/// over what comes out: the same code that works when the change is made. All of presentInputMounts() is
/// mounted; `turnUntil` turns the activity until its argument is true. Publishes nothing.
Preview preview(const Vok::Ptr<Hubdb::EntityManager>& manager, const Side& before, const Side& after,
                const std::function<void(const std::function<bool()>&)>& turnUntil);

} // namespace tools::config
