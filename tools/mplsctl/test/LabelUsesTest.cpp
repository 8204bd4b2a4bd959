#include "tools/mplsctl/lfib/LabelUses.h"

#include "tools/mplsctl/test/Fixture.h"
#include "tools/mplsctl/verbs/RouteText.h"

using namespace mplsctl;

namespace {

struct LabelUses : LfibFixture {
   Mpls::LfibViaSetKey viaSetOf(unsigned label) { return status->lfibRoute(key(label)).viaSetKey(); }
   /// Lets the via set of one route back up that of another.
   void backUp(unsigned label, unsigned by) {
      Mpls::LfibViaSet viaSet = status->viaSet(viaSetOf(label));
      viaSet.backupViaSetKeyIs(viaSetOf(by));
      status->viaSetIs(viaSet);
      mount.flush();
   }
   /// "300 pushes 17" for each route, with what its vias impose.
   std::string uses(unsigned label) {
      std::string text;
      Hop hop;
      for (const LabelUse& use : labelUses(LfibTables(folder), Kinet::MplsLabel(label))) {
         text += (text.empty() ? "" : ", ") + labelText(use.chain.route.key());
         text += use.matches ? " matches" : use.isBackup ? " backup" : " pushes";
         for (const Chain::Link& link : use.chain.vias) {
            describe(*link.row, hop);
            text += " " + hop.outbound;
         }
      }
      return text;
   }
};

TEST_F(LabelUses, AreFoundInBackupsAndInTheirBackups) {
   put(300, {{"10.0.0.1", {17}}});
   put(301, {{"10.0.0.2", {18, 500}}, {"10.0.0.3", {18}}});
   put(302, {{"10.0.0.4", {500}}});
   put(500, {{"10.0.0.5", {19}}});
   EXPECT_EQ(uses(500), "301 pushes 18/500, 302 pushes 500, 500 matches 19");
   EXPECT_EQ(uses(17), "300 pushes 17");

   backUp(300, 301);
   EXPECT_EQ(uses(18), "300 backup 18/500 18, 301 pushes 18/500 18");
   backUp(301, 302);
   backUp(302, 300); // a circle ends where it began
   EXPECT_EQ(uses(500),
             "300 backup 18/500, 300 backup 500, 301 pushes 18/500, 301 backup 500, 302 pushes 500, "
             "302 backup 18/500, 500 matches 19");
   backUp(500, 500);
   EXPECT_EQ(uses(19), "500 pushes 19");

   status->viaSetDel(viaSetOf(301)); // broken: what is left is found
   mount.flush();
   EXPECT_EQ(uses(17), "300 pushes 17, 302 backup 17");
}

} // namespace
