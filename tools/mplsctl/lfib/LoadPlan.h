#pragma once

#include "tools/mplsctl/lfib/RouteRows.h"

#include <vector>

/// What a load does to the tables. A file is the complete wish for its sources: their routes that it does not
/// have are removed, equal ones are left alone, the others are written.

namespace mplsctl {

class LoadPlan {
  public:
   /// Compares the file's routes of `sources` with the tables. Both must outlive the plan, and the tables
   /// stay as they are until apply(). Routes of other sources are never touched: a label of theirs that the
   /// file wants is skipped. The labels of bad lines keep the routes they have.
   LoadPlan(const RouteFile& file, SourceSet sources, const Mpls::LfibStatus& tables);

   Vok::U32 added() const { return count(Step::add); }
   Vok::U32 changed() const { return count(Step::change); }
   Vok::U32 unchanged() const { return count(Step::leave); }
   Vok::U32 removed() const { return static_cast<Vok::U32>(removed_.size()); }
   /// Routes of the file that are not loaded, and routes of the tables kept for a bad line, by reason.
   const std::vector<Remark>& remarks() const { return remarks_; }

   /// Writes what is new or changed, in the order of the file, and then removes.
   void apply(Mpls::LfibWriter& writer) const;

  private:
   enum class Step : Vok::U8 { add, change, leave, skip };

   Vok::U32 count(Step step) const;
   void compare(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row);
   void compareWished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row, std::size_t position);

   const RouteFile& file_;
   SourceSet sources_;
   std::vector<Step> steps_;       ///< one a route of the file
   std::vector<Vok::U32> ofLabel_; ///< position + 1 in the file's routes, by label
   std::vector<Mpls::RouteKey> removed_;
   std::vector<Remark> remarks_;
};

} // namespace mplsctl
