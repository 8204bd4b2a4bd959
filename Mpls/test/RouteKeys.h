#pragma once

#include "Mpls/MplsTypes.h"

namespace Mpls {

/// The key of a configured route of one label.
inline RouteKeyAndMetric routeKey(Vok::U32 label, Vok::U32 metric = 1) {
   return RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(label), RouteMetric(metric));
}

} // namespace Mpls
