#include "tools/mplsctl/labels/LabelView.h"

#include <algorithm>

/// `mplsctl show labels`.

namespace mplsctl {

namespace {

void printRanges(const LabelState& state, tools::Output& out) {
   using enum tools::TextTable::Align;
   tools::TextTable table({{"Range"}, {"Labels"}, {"Size", right}, {"Origin"}});
   for (const LabelState::Range& range : state.ranges())
      table.cell(range.name)
          .cell(rangeText(range.labels))
          .cell(range.labels.size())
          .cell(range.configured ? "configured" : "default");
   table.print(out);
}

void printLabels(const LabelState& state, tools::Output& out) {
   printRanges(state, out);
   tools::TextTable table({{"Client"}, {"Request"}, {"Block"}, {"State"}});
   bool waits = false;
   for (const LabelState::Request& request : state.requests()) {
      waits |= !request.block;
      table.cell(request.client).cell(request.name).cell(request.block ? rangeText(*request.block) : "-");
      table.cell(!request.block ? "waits" : request.withdrawn ? "withdrawn" : "granted");
   }
   out << '\n';
   if (!table.empty())
      table.print(out);
   out.print("{} of {} blocks are free, {} labels\n", state.freeBlocks(), state.blocks(),
             state.freeBlocks() * Mpls::LabelBlock::size);
   if (waits) {
      const LabelState::Reason reason = state.whyWaiting();
      out.print("requests wait: {}\n   {}\n", reason.why, reason.next);
   }
}

void writeLabels(const LabelState& state, tools::Output& out) {
   tools::Json json(out, 2);
   json.object().field("mplsRouting", state.config->mplsRouting()).key("ranges").object();
   for (const LabelState::Range& range : state.ranges()) {
      writeRange(json.key(range.name).object(), range.labels);
      json.field("configured", range.configured).end();
   }
   json.end().key("requests").array();
   for (const LabelState::Request& request : state.requests()) {
      json.object().field("client", request.client).field("request", request.name);
      if (request.block) {
         writeRange(json.key("block").object(), *request.block);
         json.end();
      }
      json.field("withdrawn", request.withdrawn).end();
   }
   json.end().field("blocks", state.blocks()).field("freeBlocks", state.freeBlocks());
   json.field("freeLabels", state.freeBlocks() * Mpls::LabelBlock::size).end();
}

} // namespace

void addShowLabels(Command show, Session& session) {
   auto inJson = std::make_shared<bool>(false);
   show.verb("labels", "Ranges of labels, blocks and who has them, requests that wait")
       .flag("--json", *inJson, "Print one JSON object")
       .does([&session, inJson] {
          const LabelState state = LabelView(session).state();
          tools::Output out;
          *inJson ? writeLabels(state, out) : printLabels(state, out);
          out.flush();
       });
}

} // namespace mplsctl
