#include "tools/mplsctl/verbs/ConfigSession.h"
#include "tools/mplsctl/verbs/RouteText.h"

namespace mplsctl {

using tools::config::LfibStep;
using tools::config::LfibWish;
using tools::config::Preview;
using tools::config::RouteStep;
using tools::config::SettingStep;
using tools::config::Step;
using tools::config::VrfLabelStep;

namespace {

void appendHop(std::string& text, const Hop& hop) {
   text += fmt::format("{}{} {}", text.empty() ? "" : ", ", hop.towards(), hop.outbound);
   if (hop.weight != 1)
      text += fmt::format(" weight {}", hop.weight);
}

std::string textOf(const Vok::Ptr<const Mpls::Route>& route) {
   std::string text;
   Hop hop;
   if (route) {
      for (const Mpls::Via& via : route->viaEach()) {
         describe(via, hop);
         appendHop(text, hop);
      }
      if (text.empty())
         text = "no next hop";
   }
   return text;
}

std::string textOf(const Mpls::VrfLabel& label) {
   return !label ? std::string() : "vrf " + label.vrfName().text() + (label.dynamic() ? " dynamic" : "");
}

std::string textOf(const LfibWish& wish) {
   std::string text;
   Hop hop;
   if (wish.kind == LfibWish::Kind::ipLookup)
      text = "vrf " + wish.vrfName.text();
   if (wish.kind == LfibWish::Kind::mpls)
      for (const Mpls::LfibMplsVia& via : wish.route.mplsViaEach()) {
         describe(ViaRow(via), hop);
         appendHop(text, hop);
      }
   return text;
}

/// One line of a preview, whatever it is about.
struct Line {
   Step step;
   std::string what;
   std::string before, after;
};

Line lineOf(const RouteStep& step) {
   return {
       step.step,
       fmt::format("{} metric {}", tools::config::labelWords(step.key.routeKey()), step.key.metric().value()),
       textOf(step.before), textOf(step.after)};
}

Line lineOf(const VrfLabelStep& step) {
   const Mpls::VrfLabel& known = !step.after ? step.before : step.after;
   return {step.step, std::to_string(known.label().value()), textOf(step.before), textOf(step.after)};
}

Line lineOf(const LfibStep& step) {
   return {step.step, tools::config::labelWords(step.key), textOf(step.before), textOf(step.after)};
}

Line lineOf(const SettingStep& step) {
   return {step.step, step.what, step.before, step.after};
}

/// Calls visit( name, title, steps ) for every section but the conflicts.
template <class Visit>
void eachSection(const Preview& preview, const Visit& visit) {
   visit("sourceRoutes", "Routes of cli", preview.sourceRoutes);
   visit("sourceVrfLabels", "VRF labels of cli", preview.sourceVrfLabels);
   visit("settings", "Settings", preview.settings);
   visit("mergedRoutes", "Merged routes", preview.mergedRoutes);
   visit("mergedVrfLabels", "Merged VRF labels", preview.mergedVrfLabels);
   visit("lfib", "Routes of the LFIB", preview.lfib);
}

} // namespace

void printPreview(tools::Output& out, const Preview& preview) {
   if (preview.empty()) {
      out << "no difference\n";
      return;
   }
   eachSection(preview, [&](const char*, const char* title, const auto& steps) {
      if (steps.empty())
         return;
      out.print("{}:\n", title);
      for (const auto& step : steps) {
         const Line line = lineOf(step);
         const char mark = line.step == Step::added ? '+' : line.step == Step::removed ? '-' : '~';
         out.print("   {} {}  {}", mark, line.what, line.step == Step::added ? line.after : line.before);
         if (line.step == Step::changed)
            out.print("  ->  {}", line.after);
         out << '\n';
      }
   });
   if (!preview.appearing.empty()) {
      out << "Conflicts that appear:\n";
      printWithheld(out, preview.appearing);
   }
   if (!preview.going.empty()) {
      out << "Conflicts that go:\n";
      printWithheld(out, preview.going);
   }
}

void writePreview(tools::Json& json, const Preview& preview) {
   json.object();
   eachSection(preview, [&](const char* name, const char*, const auto& steps) {
      json.key(name).array();
      for (const auto& step : steps) {
         const Line line = lineOf(step);
         json.object().field("step", stringValue(line.step)).field("what", line.what);
         if (line.step != Step::added)
            json.field("before", line.before);
         if (line.step != Step::removed)
            json.field("after", line.after);
         json.end();
      }
      json.end();
   });
   json.key("conflictsAppear").array();
   writeWithheld(json, preview.appearing);
   json.end().key("conflictsGo").array();
   writeWithheld(json, preview.going);
   json.end().end();
}

} // namespace mplsctl
