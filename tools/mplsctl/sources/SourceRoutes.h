#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

#include "Mpls/Mpls.h"

#include <optional>

/// Routes of a file as a source configures them.

namespace mplsctl {

struct SourceRoute {
   Mpls::RouteKeyAndMetric key;
   std::vector<Mpls::Via> vias; ///< each once
};

/// A route of a file for the label stack `key`. Nothing, and the reason in `why`, when configuration cannot
/// hold it: its next hops impose one label at most.
std::optional<SourceRoute> sourceRoute(const RouteFile& file, const FileRoute& route,
                                       const Mpls::RouteKey& key, std::string& why);

bool isConfigured(const Mpls::RouteConfigInput& input, const SourceRoute& route);
/// Adds the route or makes it this one; next hops that stay are not touched.
void configure(Mpls::RouteConfigInput& input, const SourceRoute& route);

/// What a file changes of a source, of which it is the complete wish. A route of a bad line stays as it is.
class SourcePlan {
  public:
   /// What configuration cannot hold becomes a remark of the file.
   SourcePlan(RouteFile& file, const Mpls::RouteConfigInput& input);

   std::size_t added = 0;
   std::size_t changed = 0;
   std::size_t unchanged = 0;
   std::size_t removed() const { return removed_.size(); }

   void apply(Mpls::RouteConfigInput& input) const;

  private:
   std::vector<SourceRoute> wanted_; ///< new or changed
   std::vector<Mpls::RouteKeyAndMetric> removed_;
};

} // namespace mplsctl
