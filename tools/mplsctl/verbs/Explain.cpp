#include "tools/common/Json.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/explain/Explanation.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"
#include "tools/mplsctl/verbs/ShowConfig.h"

#include <memory>

/// `mplsctl explain`: the way of one label, from whoever configured it to the hardware.

namespace mplsctl {

namespace {

void printStage(const Stage& stage, tools::Output& out) {
   out.print("{:<8}  {}\n", stage.name, stringValue(stage.state));
   for (const std::string& fact : stage.facts)
      out.print("   {}\n", fact);
   for (const Stage::Finding& finding : stage.findings) {
      out.print(" {} {}\n", finding.inTheWay ? '!' : '-', finding.what);
      if (!finding.next.empty())
         out.print("      {}\n", finding.next);
      printRemedies(out, finding.remedies, 6);
   }
}

void print(const Explanation& explanation, tools::Output& out) {
   const std::string label = labelText(explanation.key);
   if (const Stage* gap = explanation.firstGap())
      out.print("Label {} does not stand the whole way: look at {} first\n", label, gap->name);
   else
      out.print("Label {} stands the whole way\n", label);
   if (explanation.owned)
      for (const Explanation::Owned& owned : *explanation.owned)
         out.print("Label {} is in {}\n", owned.label.value(), blockText(owned.owner));
   for (const Stage& stage : explanation.stages)
      printStage(stage, out);
}

void writeStage(const Stage& stage, tools::Json& json) {
   json.object().field("stage", stage.name).field("state", stringValue(stage.state)).key("facts").array();
   for (const std::string& fact : stage.facts)
      json.value(fact);
   json.end().key("findings").array();
   for (const Stage::Finding& finding : stage.findings) {
      json.object().field("code", finding.code).field("inTheWay", finding.inTheWay);
      json.field("what", finding.what);
      if (!finding.next.empty())
         json.field("next", finding.next);
      if (!finding.remedies.empty())
         writeRemedies(json, finding.remedies);
      json.end();
   }
   json.end().end();
}

void write(const Explanation& explanation, tools::Output& out) {
   tools::Json json(out, 2);
   json.object().field("label", tools::config::labelWords(explanation.key));
   json.field("stands", explanation.stands());
   if (explanation.owned) {
      json.key("blocks").array();
      for (const Explanation::Owned& owned : *explanation.owned) {
         writeBlock(json.object().field("label", owned.label.value()), owned.owner);
         json.end();
      }
      json.end();
   }
   json.key("stages").array();
   for (const Stage& stage : explanation.stages)
      writeStage(stage, json);
   json.end().end();
}

} // namespace

void explainVerb(Command program, Session& session) {
   auto label = std::make_shared<std::string>();
   auto inJson = std::make_shared<bool>(false);
   program
       .verb("explain",
             "The way of a label from its sources to the hardware, and what is missing where. Exit status: 0 "
             "the whole way stands, 1 something is missing")
       .argument("LABEL", *label, "The label, or the stack with its top first: 24019/24011")
       .flag("--json", *inJson, "Print one JSON object")
       .does([&session, label, inJson] {
          const Evidence evidence = gather(session, routeKeyFromText(*label));
          const Explanation explanation = explain(evidence);
          tools::Output out;
          *inJson ? write(explanation, out) : print(explanation, out);
          out.flush();
          session.outcome = explanation.stands() ? Outcome::done : Outcome::failed;
       });
}

} // namespace mplsctl
