#include "tools/common/Lfib.h"
#include "tools/mplsctl/formats/Words.h"
#include "tools/mplsctl/labels/LabelView.h"
#include "tools/mplsctl/lfib/LabelUses.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

/// `mplsctl owner LABEL`.

namespace mplsctl {

namespace {

/// All that is known of one label.
struct Owner {
   Kinet::MplsLabel label;
   std::vector<LabelState::Range> ranges; ///< that hold it
   std::vector<LabelState::Request> blocks;
   std::vector<LabelUse> uses;
   std::vector<std::string> missing;       ///< what could not be asked, and what to do about it
   Outcome outcome = Outcome::unreachable; ///< done as soon as anything could be asked
};

/// Runs what asks one part of the system; a part that does not answer is one line of the result.
void ask(Owner& owner, const std::function<void()>& part) {
   try {
      part();
      owner.outcome = Outcome::done;
   } catch (const Failure& failure) {
      owner.missing.push_back(failure.what() + (failure.next().empty() ? "" : "; " + failure.next()));
   }
}

void askDatabase(Owner& owner, const Session& session) {
   const LabelState state = LabelView(session).state();
   owner.ranges = state.ranges();
   std::erase_if(owner.ranges, [&](const auto& range) { return !isIn(range.labels, owner.label); });
   owner.blocks = state.owners(owner.label);
   if (!state.status)
      owner.missing.push_back("no label manager has run yet; start 'mpls-agent labels'");
}

void askTables(Owner& owner, const Session& session) {
   const auto tables = openTables(tools::folderOf(session.pool));
   owner.uses = labelUses(*tables, owner.label);
}

std::string_view useText(const LabelUse& use) {
   return use.isBackup  ? "pushes as backup"
          : !use.pushes ? "matches"
          : use.matches ? "matches, pushes"
                        : "pushes";
}

void printRoutes(const Owner& owner, tools::Output& out) {
   tools::TextTable table({{"Inbound Label"}, {"Type"}, {"Nexthop"}, {"Outbound Label"}, {"Use"}});
   Hop hop;
   for (const LabelUse& use : owner.uses) {
      const std::string label = labelText(use.chain.route.key());
      const std::string_view type = routeType(use.chain.route.source());
      for (const Chain::Link& link : use.chain.vias) {
         table.cell(label).cell(type);
         if (link.row)
            describe(*link.row, hop);
         table.cell(link.row ? hop.towards() : "(no such via)").cell(link.row ? hop.outbound : "-");
         table.cell(useText(use));
      }
      if (use.chain.vias.empty())
         table.cell(label).cell(type).cell("(no next hop)").cell("-").cell(useText(use));
   }
   if (!table.empty())
      table.print(out);
}

void print(const Owner& owner, tools::Output& out) {
   const std::string_view name = labelName(owner.label.value());
   out.print("Label {}{}{}\n", owner.label.value(), name.empty() ? "" : " ", name);
   for (const LabelState::Range& range : owner.ranges)
      out.print("   range {} {} ({})\n", range.name, rangeText(range.labels),
                range.configured ? "configured" : "default");
   for (const LabelState::Request& request : owner.blocks)
      out.print("   {}\n", blockText(request));
   for (const std::string& missing : owner.missing)
      out.print("   {}\n", missing);
   printRoutes(owner, out);
}

void write(const Owner& owner, tools::Output& out) {
   tools::Json json(out, 2);
   json.object().field("label", owner.label.value()).key("ranges").array();
   for (const LabelState::Range& range : owner.ranges) {
      json.object().field("name", range.name).field("configured", range.configured);
      writeRange(json, range.labels);
      json.end();
   }
   json.end().key("blocks").array();
   for (const LabelState::Request& request : owner.blocks) {
      writeBlock(json.object(), request);
      json.end();
   }
   json.end().key("routes").array();
   for (const LabelUse& use : owner.uses) {
      json.object().field("label", labelText(use.chain.route.key()));
      json.field("source", stringValue(use.chain.route.source()));
      json.field("matches", use.matches).field("pushes", use.pushes).field("backup", use.isBackup);
      writeRoute(json.key("route"), use.chain);
      json.end();
   }
   json.end().key("missing").array();
   for (const std::string& missing : owner.missing)
      json.value(missing);
   json.end().end();
}

} // namespace

void ownerVerb(Command program, Session& session) {
   auto text = std::make_shared<std::string>();
   auto inJson = std::make_shared<bool>(false);
   program
       .verb("owner", "Whose a label is: its range, its block and client, the routes that match or push it")
       .argument("LABEL", *text, "A number, or a name such as implicit-null")
       .flag("--json", *inJson, "Print one JSON object")
       .does([&session, text, inJson] {
          Owner owner;
          owner.label = labelOf(*text);
          ask(owner, [&] { askDatabase(owner, session); });
          ask(owner, [&] { askTables(owner, session); });
          tools::Output out;
          *inJson ? write(owner, out) : print(owner, out);
          out.flush();
          session.outcome = owner.outcome;
       });
}

} // namespace mplsctl
