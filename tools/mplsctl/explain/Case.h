#pragma once

#include "tools/config/RouteProducer.h"
#include "tools/mplsctl/explain/Explanation.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/ShowConfig.h"

/// What the stages of an explanation share; one function a stage.

namespace mplsctl {

/// What one source gives the label.
struct Gift {
   const std::string* source;
   const Mpls::Route* route; ///< null for a binding
   Mpls::VrfLabel binding;
   bool holds = true; ///< it has come, or will come, to the merged configuration

   std::string text() const;
};

/// The evidence, and what the configuration in it comes to. Points into the evidence, which outlives it.
struct Case {
   explicit Case(const Evidence& evidence);

   bool anyHolds() const;
   /// Something merged asks for a row of the LFIB.
   bool isWanted() const { return !merged.empty() || !!mergedBinding; }
   /// What to do when an agent has not done its part.
   std::string routesNext() const;
   std::string forwardNext() const;

   const Evidence& evidence;
   const Mpls::RouteKey& key;
   const std::vector<tools::config::Withheld> withheld;
   std::vector<Gift> gifts;
   std::vector<const Mpls::Route*> merged; ///< by rising metric
   Mpls::VrfLabel mergedBinding;
   tools::config::LfibWish wish; ///< what the merged configuration comes to
};

Stage sourcesStage(const Case& given);
Stage mergeStage(const Case& given);
Stage lfibStage(const Case& given);
Stage trackingStage(const Case& given);
Stage hardwareStage(const Case& given);

/// Sets the state that follows from what was found.
Stage concluded(Stage stage);
/// A stage that nobody could look at, for a reason that an earlier one has named; or for this one.
Stage unknownStage(std::string_view name);
Stage unknownStage(std::string_view name, const char* code, const Failure& failure);

Stage::Finding findingOf(const tools::config::Withheld& entry, bool inTheWay);
/// Whether this keeps the gift from being merged.
bool isKeptBack(const Gift& gift, const tools::config::Withheld& by);

/// Next hops as "10.0.0.1 17, eth1 implicit-null"; of many, the first.
class HopWords {
  public:
   template <class Via>
   void add(const Via& via) {
      if (++count_ > shown)
         return;
      describe(via, hop_);
      text_ += fmt::format("{}{} {}", count_ > 1 ? ", " : "", hop_.towards(), hop_.outbound);
   }
   std::string text() const {
      return count_ == 0      ? "no next hop"
             : count_ > shown ? fmt::format("{} and {} more", text_, count_ - shown)
                              : text_;
   }

  private:
   static constexpr std::size_t shown = 8;
   std::size_t count_ = 0;
   std::string text_;
   Hop hop_;
};

/// "metric 100, 10.0.0.1 17".
std::string routeText(const Mpls::Route& route);

} // namespace mplsctl
