#include "tools/mplsctl/verbs/ConfigSession.h"
#include "tools/mplsctl/verbs/RouteText.h"

namespace mplsctl {

using tools::config::Changes;
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

struct Section {
   const char* name; ///< for programs
   const char* title;
   const char* entry; ///< what one of its steps is about
};

/// Calls visit( section, steps ) for every kind of entry.
template <class Visit>
void eachSection(const Changes& changes, const Visit& visit) {
   visit(Section{"sourceRoutes", "Routes of cli", "route"}, changes.routes);
   visit(Section{"sourceVrfLabels", "VRF labels of cli", "VRF label"}, changes.vrfLabels);
   visit(Section{"settings", "Settings", "setting"}, changes.settings);
}

/// The same for every section of a preview but the conflicts.
template <class Visit>
void eachSection(const Preview& preview, const Visit& visit) {
   eachSection(preview.source, visit);
   visit(Section{"mergedRoutes", "Merged routes", "route"}, preview.mergedRoutes);
   visit(Section{"mergedVrfLabels", "Merged VRF labels", "VRF label"}, preview.mergedVrfLabels);
   visit(Section{"lfib", "Routes of the LFIB", "route"}, preview.lfib);
}

/// Prints a section of which there is anything.
template <class Steps>
void printSteps(tools::Output& out, const char* title, std::string_view which, const Steps& steps) {
   if (steps.empty())
      return;
   out.print("{}{}:\n", title, which);
   for (const auto& step : steps) {
      const Line line = lineOf(step);
      const char mark = line.step == Step::added ? '+' : line.step == Step::removed ? '-' : '~';
      out.print("   {} {}  {}", mark, line.what, line.step == Step::added ? line.after : line.before);
      if (line.step == Step::changed)
         out.print("  ->  {}", line.after);
      out << '\n';
   }
}

template <class Steps>
void writeSteps(tools::Json& json, const char* name, const Steps& steps) {
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
}

} // namespace

void printChanges(tools::Output& out, const Changes& changes, std::string_view which) {
   eachSection(changes, [&](const Section& section, const auto& steps) {
      printSteps(out, section.title, which, steps);
   });
}

void writeChanges(tools::Json& json, const Changes& changes) {
   json.object();
   eachSection(changes,
               [&](const Section& section, const auto& steps) { writeSteps(json, section.name, steps); });
   json.end();
}

std::string listed(const Changes& changes) {
   constexpr std::size_t shown = 3;
   std::size_t count = 0;
   std::string text;
   eachSection(changes, [&](const Section& section, const auto& steps) {
      for (const auto& step : steps)
         if (++count <= shown)
            text += fmt::format("{}{} {} ({})", count == 1 ? "" : ", ", section.entry, lineOf(step).what,
                                stringValue(step.step));
   });
   return count > shown ? fmt::format("{} and {} more", text, count - shown) : text;
}

void printPreview(tools::Output& out, const Preview& preview) {
   if (preview.empty()) {
      out << "no difference\n";
      return;
   }
   eachSection(preview,
               [&](const Section& section, const auto& steps) { printSteps(out, section.title, "", steps); });
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
   eachSection(preview,
               [&](const Section& section, const auto& steps) { writeSteps(json, section.name, steps); });
   json.key("conflictsAppear").array();
   writeWithheld(json, preview.appearing);
   json.end().key("conflictsGo").array();
   writeWithheld(json, preview.going);
   json.end();
}

} // namespace mplsctl
