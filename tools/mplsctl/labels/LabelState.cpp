#include "tools/mplsctl/labels/LabelState.h"

#include "Mpls/LabelManagerSm.h"

#include <algorithm>
#include <map>

namespace mplsctl {

namespace {

using Info = Mpls::LabelRangeInfo;

/// The ranges that have a default of their own.
std::map<std::string, LabelState::Range> defaultRanges() {
   std::map<std::string, LabelState::Range> ranges;
   const auto put = [&](std::string_view name, const Mpls::LabelRange& labels) {
      ranges[std::string(name)] = {std::string(name), labels, false};
   };
   put(Info::rangeTypeStatic, Info::staticDefaultRange());
   put(Info::rangeTypeDynamic, Info::dynamicDefaultRange());
   put(Info::rangeTypeSrgb, Info::srgbDefaultRange());
   put(Info::rangeTypeSrlb, Info::srlbDefaultRange());
   put(Info::rangeTypeL2evpn, Info::l2evpnDefaultRange());
   return ranges;
}

} // namespace

std::string rangeText(const Mpls::LabelRange& range) {
   return range.size() == 0 ? "-"
                            : fmt::format("{}-{}", range.baseValue(), range.baseValue() + range.size() - 1);
}

bool isIn(const Mpls::LabelRange& range, Kinet::MplsLabel label) {
   return label >= range.base() && label.value() - range.baseValue() < range.size();
}

void writeRange(tools::Json& json, const Mpls::LabelRange& range) {
   json.field("base", range.baseValue()).field("size", range.size());
}

std::string blockText(const LabelState::Request& request) {
   return fmt::format("block {} of client {}, request {}{}", rangeText(*request.block), request.client,
                      request.name, request.withdrawn ? ", withdrawn" : "");
}

void writeBlock(tools::Json& json, const LabelState::Request& request) {
   json.field("client", request.client).field("request", request.name);
   writeRange(json, *request.block);
   json.field("withdrawn", request.withdrawn);
}

std::vector<LabelState::Range> LabelState::ranges() const {
   std::map<std::string, Range> byName = defaultRanges();
   for (const auto& entry : config->labelRangeDefaultEach())
      byName[entry.key.text()] = {entry.key.text(), entry.value, false};
   for (const auto& entry : config->labelRangeEach())
      byName[entry.key.text()] = {entry.key.text(), entry.value, true};
   // An empty one counts as none, and of defaults the label manager knows its own alone.
   Range& dynamic = byName[std::string(Info::rangeTypeDynamic)];
   dynamic.configured = dynamic.configured && dynamic.labels == dynamicRange();
   dynamic.labels = dynamicRange();
   std::vector<Range> all;
   for (auto& [name, range] : byName)
      all.push_back(std::move(range));
   std::ranges::stable_sort(all, {}, [](const Range& range) { return range.labels.base(); });
   return all;
}

Mpls::LabelRange LabelState::dynamicRange() const {
   return Mpls::LabelManagerSm::dynamicRange(config);
}

std::vector<LabelState::Request> LabelState::requests() const {
   std::map<std::pair<std::string, std::string>, Request> byName;
   for (const auto& client : clients)
      for (const auto& entry : client->labelRequestEach())
         byName[{client->vokName().text(), entry.key}] = {client->vokName().text(), entry.key, {}, false};
   if (status)
      for (const auto& allocation : status->labelBlockAllocationEach())
         for (const auto& entry : allocation.value->blockEach()) {
            const auto [place, unwanted] = byName.try_emplace({allocation.key.text(), entry.key});
            if (unwanted)
               place->second = {allocation.key.text(), entry.key, {}, true};
            place->second.block = Mpls::LabelRange(entry.value.blockStart(), Mpls::LabelBlock::size);
         }
   std::vector<Request> all;
   for (auto& [name, request] : byName)
      all.push_back(std::move(request));
   return all;
}

std::vector<LabelState::Request> LabelState::owners(Kinet::MplsLabel label) const {
   std::vector<Request> all = requests();
   std::erase_if(all, [&](const Request& request) { return !request.block || !isIn(*request.block, label); });
   return all;
}

std::optional<Mpls::LabelRange> LabelState::block(const std::string& client, const std::string& name) const {
   const auto allocation = status ? status->labelBlockAllocation(Vok::Name(client)) : nullptr;
   if (!allocation || !allocation->blockHas(name))
      return std::nullopt;
   return Mpls::LabelRange(allocation->block(name).blockStart(), Mpls::LabelBlock::size);
}

Vok::U32 LabelState::blocks() const {
   return Mpls::LabelManagerSm::blocksIn(dynamicRange());
}

Vok::U32 LabelState::freeBlocks() const {
   Vok::U32 granted = 0;
   if (status)
      for (const auto& allocation : status->labelBlockAllocationEach())
         granted += allocation.value->blocks();
   return blocks() - std::min(blocks(), granted);
}

LabelState::Reason LabelState::whyWaiting() const {
   const std::string widen = "'mplsctl config set labelRange dynamic BASE SIZE'";
   const std::string range = rangeText(dynamicRange());
   if (!config->mplsRouting())
      return {"MPLS routing is off", "switch it on with 'mplsctl config set mplsRouting on'"};
   if (blocks() == 0)
      return {fmt::format("the dynamic range {} holds no block of {} labels", range, Mpls::LabelBlock::size),
              "widen it with " + widen};
   if (!status)
      return {"no label manager has run yet", "start 'mpls-agent labels'"};
   if (freeBlocks() > 0)
      return {"no label manager answers", "start 'mpls-agent labels'"};
   const std::vector<Request> all = requests();
   const auto waiting = std::ranges::count_if(all, [](const Request& request) { return !request.block; });
   return {fmt::format("the dynamic range {} is exhausted: all blocks ({}) are granted, and {} request{}",
                       range, blocks(), waiting, waiting == 1 ? " waits" : "s wait"),
           "release a block ('mplsctl show labels' lists them), or widen the range with " + widen};
}

} // namespace mplsctl
