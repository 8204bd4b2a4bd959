#include "Mpls/MplsCopy.h"

#include "Cli/EntityCopy.h"
#include "Mpls/Mpls.h"
#include "Mpls/test/RouteKeys.h"
#include "Vok/Trace.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

Via via(std::string_view hop) {
   return Via(Kinet::IpGenAddr(hop), Kinet::MplsLabelAction::swap, Kinet::MplsLabel(17), false);
}

/// Notes what happens to the routes of an input.
class Steps final : public RouteConfigInput::Notifiee {
  public:
   using RouteConfigInput::Notifiee::Notifiee;
   void onRoute(const RouteKeyAndMetric& key) override {
      const bool there = static_cast<const RouteConfigInput&>(*vokWatched()).routeHas(key);
      text += (there ? "+" : "-") + Vok::stringValue(key.topLabel());
   }
   std::string text;
};

TEST(MplsCopyTest, routesGoBeforeOthersComeAndWhatIsSharedIsCopiedDeep) {
   const Vok::Ptr<CopyHandlerDir> dir = copyHandlerDirFactory("handlers");
   Cli::HandlerRegistry handlers;
   handlers.handlerIs(RouteConfigInput::vokType(), dir->copyHandlerIs());
   const auto copy = Vok::make<Cli::Session::EntityCopy>(handlers);
   const Vok::Ptr<RouteConfigInput> src = routeConfigInputFactory("src"),
                                    dst = routeConfigInputFactory("dst");
   for (const Vok::U32 label : {1u, 2u})
      src->routeIs(routeKey(label))->viaIs(via("10.0.0.1"), true);
   src->route(routeKey(2))->dynamicIs(true);
   for (const Vok::U32 label : {2u, 3u})
      dst->routeIs(routeKey(label))->viaIs(via("10.0.0.9"), true);
   const Vok::Ptr<Route> kept = dst->route(routeKey(2));

   Steps steps(dst);
   Vok::TraceCapture capture("MplsCopy/8");
   copy->copyEntity(dst, src, "session");
   EXPECT_EQ(steps.text, "-3+1");
   EXPECT_EQ(dst->route(routeKey(2)), kept);
   EXPECT_TRUE(kept->dynamic());
   EXPECT_TRUE(kept->via(via("10.0.0.1")) && kept->vias() == 1);
   EXPECT_NE(dst->route(routeKey(1)), src->route(routeKey(1)));
   EXPECT_EQ(capture.lines(),
             (std::vector<std::string>{"handleEntity src-->dst", "Copying route", "Copying route"}));

   EXPECT_FALSE(dir->copyHandler()->handleEntity(copy, configFactory("c"), configFactory("d"), ""));
   EXPECT_THROW(copy->copyEntity(dst, configFactory("c"), "session"), Cli::Session::CopyError);
}

} // namespace
} // namespace Mpls
