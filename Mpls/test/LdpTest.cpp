#include "Mpls/LdpRouterId.h"
#include "Pooltab/PrivateFolder.h"
#include "Pooltab/VokPooltab.h"
#include "Vok/Trace.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <set>

namespace Ldp::LdpPooltab {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

Mpls::FwdEqvClass fecOf(Vok::U32 number) {
   if (number % 4 == 3)
      return Mpls::FwdEqvClass::mldpFec(Kinet::IpGenAddr::fromIpv4(0x01010101), number);
   return Mpls::FwdEqvClass(Kinet::IpGenPrefix(Kinet::IpGenAddr::fromIpv4(0x0a000000 + (number << 8)), 24));
}

/// Peer 0 is this router itself. Others share an LSR id by twos and differ in their label space.
LdpIdentifier peerOf(Vok::U32 number) {
   return LdpIdentifier(0xc0000200 + number / 2, static_cast<Vok::U16>(number % 2));
}

std::string nameOf(Vok::U32 peer) {
   return peer == 0 ? "local" : toRouterId(peerOf(peer)).stringValue();
}

using State = std::set<std::string>;

/// A peer and a FEC, by number.
using Where = std::pair<Vok::U32, Vok::U32>;

/// What the rows say, kept plainly beside the tables.
struct Model {
   std::map<Where, std::set<Vok::U32>> labels;
   std::map<Where, double> lastUpdate;
   std::set<Where> filtered, advertised;

   State state() const {
      State lines;
      std::map<Where, std::pair<std::string, double>> sets;
      for (const auto& [where, bound] : labels)
         for (const Vok::U32 label : bound)
            sets[where].first += " " + std::to_string(label);
      for (const auto& [where, time] : lastUpdate)
         sets[where].second = time;
      for (const auto& [where, said] : sets)
         lines.insert(at(where) + said.first + " @" + std::to_string(said.second));
      for (const Where& where : filtered)
         lines.insert(at(where) + " filtered");
      for (const Where& where : advertised)
         lines.insert("advertised " + at(where));
      return lines;
   }
   static std::string at(const Where& where) {
      return nameOf(where.first) + " " + fecOf(where.second).stringValue();
   }
};

State stateOf(const Mpls::LabelBindingTable& table, const std::string& name) {
   State lines;
   for (const auto& [fec, labelSet] : table.bindingEach()) {
      std::set<Vok::U32> labels;
      for (const auto& [label, isIn] : labelSet->mplsLabelEach())
         labels.insert(isIn ? label.value() : 0);
      std::string line = name + " " + fec.stringValue();
      for (const Vok::U32 label : labels)
         line += " " + std::to_string(label);
      lines.insert(line + " @" + std::to_string(labelSet->lastUpdate()));
   }
   for (const auto& [fec, isIn] : table.filteredFecEach())
      lines.insert(name + " " + fec.stringValue() + (isIn ? " filtered" : " not filtered"));
   if (lines.empty() && name != "local")
      lines.insert(name + " has a table without reason");
   return lines;
}

/// Both consumers over one set of tables.
class Consumers {
  public:
   explicit Consumers(const Vok::Ptr<LdpLabelBindingTable>& rows)
       : bindings(LdpLibConsumerSmIs(rows, local, peers)),
         advertisements(LdpLibAdvertisementConsumerSmIs(rows, advertised)) {}

   State state() const {
      State lines = stateOf(*local, "local");
      for (const auto& [routerId, table] : peers->bindingTableEach())
         lines.merge(stateOf(*table, routerId.stringValue()));
      for (const auto& [fec, told] : advertised->advertisedToEach()) {
         EXPECT_NE(told->identifiers(), 0u);
         for (const auto& [peer, isIn] : told->identifierEach())
            lines.insert("advertised " + peer.stringValue() + " " + fec.stringValue());
      }
      return lines;
   }

   const Vok::Ptr<Mpls::LabelBindingTable> local = Mpls::labelBindingTableFactory(Mpls::RouterId());
   const Vok::Ptr<Mpls::LabelBindingTableColl> peers = Mpls::labelBindingTableCollFactory("peers");
   const Vok::Ptr<LabelAdvertisementColl> advertised = labelAdvertisementCollFactory("advertised");
   const Vok::Ptr<LdpLibConsumerSm> bindings;
   const Vok::Ptr<LdpLibAdvertisementConsumerSm> advertisements;
};

class LdpTest : public testing::Test {
  protected:
   enum Kind { label, filtered, lastUpdate, advertised, kinds };

   /// Writes or deletes one row, in the tables and in the model.
   void change(Kind kind, Vok::U32 peer, Vok::U32 number, Vok::U32 bound, bool isThere, double time = 1.5) {
      const Mpls::FwdEqvClass fec = fecOf(number);
      const LdpIdentifierFecKey peerKey(peerOf(peer), fec);
      const Where where(peer, number);
      const auto setIs = [&](auto& set, const auto& entry) {
         isThere ? void(set.insert(entry)) : void(set.erase(entry));
      };
      LdpLabelBindingTable& t = *rows;
      if (kind == label) {
         setIs(model.labels[where], bound);
         const LdpLocalLbtLabelKey localLabel(fec, Kinet::MplsLabel(bound));
         const LdpPeerLbtLabelKey peerLabel(peerOf(peer), fec, Kinet::MplsLabel(bound));
         if (peer == 0)
            isThere ? t.localLbtLabelIs(LdpLocalLbtLabelEntry(localLabel)) : t.localLbtLabelDel(localLabel);
         else
            isThere ? t.peerLbtLabelIs(LdpPeerLbtLabelEntry(peerLabel)) : t.peerLbtLabelDel(peerLabel);
      } else if (kind == filtered) {
         setIs(model.filtered, where);
         if (peer == 0)
            isThere ? t.localLbtFilteredFecIs(LdpFecEntry(fec)) : t.localLbtFilteredFecDel(fec);
         else
            isThere ? t.peerLbtFilteredFecIs(LdpIdentifierFecEntry(peerKey))
                    : t.peerLbtFilteredFecDel(peerKey);
      } else if (kind == lastUpdate) {
         model.lastUpdate.erase(where);
         if (isThere)
            model.lastUpdate[where] = time;
         if (peer == 0)
            isThere ? t.localLbtLastUpdateIs(LdpLocalLbtLastUpdateEntry(fec, time))
                    : t.localLbtLastUpdateDel(fec);
         else
            isThere ? t.peerLbtLastUpdateIs(LdpPeerLbtLastUpdateEntry(peerKey, time))
                    : t.peerLbtLastUpdateDel(peerKey);
      } else if (peer != 0) {
         setIs(model.advertised, where);
         isThere ? t.localLbtAdvertisedToIs(LdpIdentifierFecEntry(peerKey))
                 : t.localLbtAdvertisedToDel(peerKey);
      }
   }

   Model model;
   const Vok::Ptr<LdpLabelBindingTable> rows = ldpLabelBindingTableFactory("ldp");
   const std::shared_ptr<Pooltab::Folder> folder = std::make_shared<Pooltab::PrivateFolder>("ldp");
   VokPooltab::WriterMount mount{rows, folder, {.logEntriesLog2 = 5}};
};

// Two labels, the time and the filter of one FEC come and go in every order of five steps.
TEST_F(LdpTest, rowsComeAndGoInEveryOrder) {
   const Consumers consumers(rows);
   for (const Vok::U32 peer : {0, 1}) {
      for (int order = 0; order < 4 * 4 * 4 * 4 * 4; ++order) {
         std::set<int> there;
         for (int step = 0, left = order; step < 5 + 4; ++step, left /= 4) {
            const int row = step < 5 ? left % 4 : step - 5; // at the end all go
            const bool isThere = step < 5 && there.insert(row).second;
            if (!isThere)
               there.erase(row);
            change(row < 2 ? label : row == 2 ? lastUpdate : filtered, peer, 1, 16 + row, isThere);
            ASSERT_EQ(consumers.state(), model.state()) << "order " << order << " step " << step;
         }
         ASSERT_EQ(consumers.state(), State());
      }
   }
}

// A reader hears of changes late, when rows are gone or back again, and is overtaken now and then; others
// come late. All end where the rows are.
TEST_F(LdpTest, readersReachWhatTheRowsSay) {
   std::mt19937 random(5);
   const Vok::Ptr<LdpLabelBindingTable> read = ldpLabelBindingTableFactory("ldp");
   VokPooltab::ReaderMount reader(read, folder);
   const Consumers early(read);
   int overtaken = 0;
   for (int turn = 0; turn < 400; ++turn) {
      const Vok::U32 changes = random() % 50;
      overtaken += changes > 32;
      for (Vok::U32 i = 0; i < changes; ++i) {
         const double times[] = {1.5, -infinity, notANumber, 1e300};
         change(static_cast<Kind>(random() % kinds), random() % 5, random() % 6, 16 + random() % 3,
                random() % 2, times[random() % 4]);
      }
      mount.flush();
      if (turn % 3 == 0)
         reader.deliver(random() % 8);
      else
         while (reader.deliver(100) == 100) {
         }
      if (turn % 3 != 0) {
         ASSERT_EQ(early.state(), model.state()) << "turn " << turn;
      }
      if (turn % 20 == 0) {
         ASSERT_EQ(Consumers(rows).state(), model.state()) << "turn " << turn;
      }
   }
   EXPECT_GT(overtaken, 10);

   early.bindings->handleDelete();
   early.advertisements->handleDelete();
   early.bindings->handlePeerLbtLabels();
   EXPECT_EQ(early.state(), State()); // and deaf
   early.bindings->handleInitialized();
   early.advertisements->handleInitialized();
   EXPECT_EQ(early.state(), model.state());
}

TEST_F(LdpTest, aTimeThatIsNoneDoesNotKeepALabelSet) {
   const Consumers consumers(rows);
   const std::pair<double, bool> cases[] = {{0.0, false},
                                            {-0.0, false},
                                            {infinity, false},
                                            {-infinity, true},
                                            {notANumber, true},
                                            {5e-324, true},
                                            {std::numeric_limits<double>::max(), true}};
   for (const Vok::U32 peer : {0, 1}) {
      for (const auto& [time, isKept] : cases) {
         SCOPED_TRACE(nameOf(peer) + " " + std::to_string(time));
         change(label, peer, 1, 17, true);
         change(lastUpdate, peer, 1, 0, true, time);
         change(label, peer, 1, 17, false);
         EXPECT_EQ(consumers.state().size(), isKept ? 1u : 0u);
         change(lastUpdate, peer, 1, 0, false);
         EXPECT_EQ(consumers.state(), State());
      }
   }
}

TEST_F(LdpTest, handlersTraceTheirKey) {
   const Consumers consumers(rows);
   const Vok::TraceCapture capture("LdpLibSm/8");
   consumers.bindings->handleLocalLbtLabel(LdpLocalLbtLabelKey(fecOf(0), Kinet::MplsLabel(17)));
   ASSERT_EQ(capture.lines().size(), 1u);
   EXPECT_NE(capture.lines()[0].find("handleLocalLbtLabel"), std::string::npos);
   EXPECT_TRUE(capture.lines()[0].ends_with(" fec: 10.0.0.0/24 label: 17")) << capture.lines()[0];
}

TEST_F(LdpTest, advertisementsBeginEmpty) {
   const auto filled = labelAdvertisementCollFactory("filled");
   filled->advertisedToIs(fecOf(1));
   EXPECT_DEATH(LdpLibAdvertisementConsumerSmIs(rows, filled), "!advertisement\\(\\)->advertisedTos\\(\\)");
}

TEST(LdpIdentifierTest, textAndBytes) {
   const LdpIdentifier identifier(0x0a000001, 258);
   EXPECT_EQ(identifier.stringValue(), "10.0.0.1:258");
   const unsigned char bytes[] = {10, 0, 0, 1, 1, 2};
   EXPECT_EQ(std::memcmp(&identifier, bytes, sizeof bytes), 0);
   EXPECT_EQ(toRouterId(identifier).rtrIdValue(), 0x0a000001u);
   EXPECT_EQ(toRouterId(identifier).lblSpaceValue(), 258);

   LdpIdentifier parsed;
   parsed.stringValueIs("10.0.0.1:258");
   EXPECT_EQ(parsed, identifier);
   for (const char* text : {"", "10.0.0.1", "10.0.0.1:", "10.0.0.1:0 ", "10.0.0.1:65536", "10.0.1:0",
                            "256.0.0.1:0", "10.0.0.1:0x", "0102.0304.0506", "a.b.c.d:0"}) {
      SCOPED_TRACE(text);
      try {
         parsed.stringValueIs(text);
         ADD_FAILURE() << "parsed";
      } catch (const Vok::RangeError& error) {
         EXPECT_STREQ(error.what(), "Invalid LdpIdentifier");
      }
      EXPECT_EQ(parsed, identifier);
   }
}

} // namespace
} // namespace Ldp::LdpPooltab
