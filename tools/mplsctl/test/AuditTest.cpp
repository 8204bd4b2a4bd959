#include "tools/mplsctl/test/Fixture.h"

#include "tools/mplsctl/lfib/Audit.h"

#include <functional>

using namespace mplsctl;

namespace {

struct Audit : LfibFixture {
   Audit() {
      put(16, {{"10.0.0.2", {17}}, {"10.0.0.3", {}}});
      put(18, {{"10.0.0.2", {19}}});
   }
   std::vector<std::string> findings() {
      std::vector<std::string> lines;
      for (const Finding& finding : audit(tables).findings)
         lines.push_back(std::string(stringValue(finding.kind)) + ": " + finding.text);
      return lines;
   }
   Mpls::LfibViaSetKey viaSetOf(unsigned label) { return tables.lfibRoute.lookup(key(label)).viaSetKey(); }
   LfibTables tables{folder};
};

using Lines = std::vector<std::string>;

/// Rows may only be written with keys of their table's type; this writes the row and swallows the refusal.
void force(const std::function<void()>& write) {
   EXPECT_THROW(write(), Vok::InternalError);
}

} // namespace

TEST_F(Audit, AWriterLeavesItClean) {
   EXPECT_EQ(findings(), Lines{});
   put(16, {{"10.0.0.9", {20}}});
   del(18);
   EXPECT_EQ(findings(), Lines{});
   const AuditReport report = audit(tables);
   EXPECT_EQ(report.routes, 1u);
   EXPECT_EQ(report.viaSets, 1u);
   EXPECT_EQ(report.vias, 1u);
   EXPECT_EQ(report.tables.size(), 12u);
}

TEST_F(Audit, NamesEveryBrokenLink) {
   status->viaSetDel(viaSetOf(18));
   EXPECT_EQ(findings(),
             (Lines{
                 "dangling: route 18 names via set lfibSourceLdp/viaTypeMplsIp/unicast/2, which is not there",
                 "orphaned: no via set lists via lfibSourceLdp/viaTypeMplsIp/3",
             }));
   status->mplsViaDel(tables.viaSet.lookup(viaSetOf(16)).viaKey(Mpls::LfibViaIndexRange(1)));
   status->lfibRouteDel(key(18));
   EXPECT_EQ(findings(), (Lines{
                             "dangling: via set lfibSourceLdp/viaTypeMplsIp/unicast/1 lists via "
                             "lfibSourceLdp/viaTypeMplsIp/2, which is not there",
                             "orphaned: no via set lists via lfibSourceLdp/viaTypeMplsIp/3",
                         }));
   status->lfibRouteDelAll();
   EXPECT_EQ(findings().size(), 3u) << "the via set is orphaned, not its vias";
}

TEST_F(Audit, ABackupViaSetIsInUse) {
   Mpls::LfibViaSet backup;
   backup.keyIs({Mpls::LFib::Source::lfibSourceLdp, 77, Mpls::viaTypeMplsIp_, Mpls::unicast_});
   status->viaSetIs(backup);
   EXPECT_EQ(findings(), Lines{"orphaned: no route names via set lfibSourceLdp/viaTypeMplsIp/unicast/77"});
   Mpls::LfibViaSet primary = tables.viaSet.lookup(viaSetOf(18));
   primary.backupViaSetKeyIs(backup.key());
   status->viaSetIs(primary);
   EXPECT_EQ(findings(), Lines{});
}

TEST_F(Audit, TypesMustFit) {
   Mpls::LfibPwVia via;
   via.keyIs({Mpls::LFib::Source::lfibSourceLdp, Mpls::viaTypeMplsIp_, 40});
   force([&] { status->pwViaIs(via); });
   Mpls::LfibViaSet viaSet = tables.viaSet.lookup(viaSetOf(18));
   const Mpls::LfibViaKey stranger(Mpls::LFib::Source::lfibSourceLdp, Mpls::viaTypeVlan_, 41);
   status->vlanViaIs(Mpls::LfibVlanVia(stranger, Bridging::VlanId(5), {}));
   viaSet.viaKeyIs(Mpls::LfibViaIndexRange(1), stranger);
   force([&] { status->viaSetIs(viaSet); });
   EXPECT_EQ(findings(), (Lines{
                             "orphaned: no via set lists via lfibSourceLdp/viaTypeMplsIp/40",
                             "wrong type: via lfibSourceLdp/viaTypeMplsIp/40 stands in table pwVia",
                             "wrong type: via set lfibSourceLdp/viaTypeMplsIp/unicast/2 lists via "
                             "lfibSourceLdp/viaTypeVlan/41 of another type",
                         }));
}

TEST_F(Audit, ADamagedTableIsFoundAndTheOthersChecked) {
   const auto file = folder->open("lfibRoute.rows", Pooltab::Access::write);
   ASSERT_TRUE(file);
   const Vok::U64 size = Pooltab::fileBytes(file);
   // Every row of the table loses a bit of its payload.
   std::string bytes(size, '\0');
   ASSERT_EQ(pread(file.fd(), bytes.data(), size, 0), static_cast<ssize_t>(size));
   const std::size_t at = bytes.find(std::string("\x10\0\0\0\0\0\x10\0", 8), 8192); // label 16, then unset
   ASSERT_NE(at, std::string::npos);
   ASSERT_EQ(pwrite(file.fd(), "\x11", 1, static_cast<off_t>(at)), 1);
   const AuditReport report = audit(tables);
   EXPECT_TRUE(report.isDamaged());
   EXPECT_EQ(report.tables.at(0).state(), "damaged");
   EXPECT_EQ(report.tables.at(0).report.tornRows, 1u);
   EXPECT_EQ(report.tables.at(1).state(), "clean");
   EXPECT_EQ(report.vias, 3u);
}
