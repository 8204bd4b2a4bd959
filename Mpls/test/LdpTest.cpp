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

   template <class Row>
   static void rowIs(Pooltab::Collection<Row>& table, const Row& row, bool isThere) {
      isThere ? table.is(row) : void(table.del(row.rowKey()));
   }
   template <class Set, class Entry>
   static void entryIs(Set& set, const Entry& entry, bool isThere) {
      isThere ? void(set.insert(entry)) : void(set.erase(entry));
   }

   /// Writes or deletes one row, in the tables and in the model.
   void change(Kind kind, Vok::U32 peer, Vok::U32 number, Vok::U32 bound, bool isThere, double time = 1.5) {
      const Where where(peer, number);
      const Mpls::FwdEqvClass fec = fecOf(number);
      const LdpIdentifierFecKey key(peerOf(peer), fec);
      const Kinet::MplsLabel mplsLabel(bound);
      if (kind == label) {
         entryIs(model.labels[where], bound, isThere);
         if (peer == 0)
            rowIs(rows->localLbtLabelTable(), LdpLocalLbtLabelEntry({fec, mplsLabel}), isThere);
         else
            rowIs(rows->peerLbtLabelTable(), LdpPeerLbtLabelEntry({peerOf(peer), fec, mplsLabel}), isThere);
      } else if (kind == filtered) {
         entryIs(model.filtered, where, isThere);
         if (peer == 0)
            rowIs(rows->localLbtFilteredFecTable(), LdpFecEntry(fec), isThere);
         else
            rowIs(rows->peerLbtFilteredFecTable(), LdpIdentifierFecEntry(key), isThere);
      } else if (kind == lastUpdate) {
         model.lastUpdate.erase(where);
         if (isThere)
            model.lastUpdate[where] = time;
         if (peer == 0)
            rowIs(rows->localLbtLastUpdateTable(), LdpLocalLbtLastUpdateEntry(fec, time), isThere);
         else
            rowIs(rows->peerLbtLastUpdateTable(), LdpPeerLbtLastUpdateEntry(key, time), isThere);
      } else if (peer != 0) {
         entryIs(model.advertised, where, isThere);
         rowIs(rows->localLbtAdvertisedToTable(), LdpIdentifierFecEntry(key), isThere);
      }
   }

   Model model;
   const Vok::Ptr<LdpLabelBindingTable> rows = ldpLabelBindingTableFactory("ldp");
   const std::shared_ptr<Pooltab::Folder> folder = std::make_shared<Pooltab::PrivateFolder>("ldp");
   VokPooltab::WriterMount mount{rows, folder, {.logEntriesLog2 = 5}};
};

// Beside the writer every step shows. A reader hears of changes late, when rows are gone or back again, and
// is overtaken now and then; others come late. All end where the rows are.
TEST_F(LdpTest, consumersReachWhatTheRowsSay) {
   std::mt19937 random(5);
   const Consumers beside(rows);
   const Vok::Ptr<LdpLabelBindingTable> read = ldpLabelBindingTableFactory("ldp");
   VokPooltab::ReaderMount reader(read, folder);
   const Consumers behind(read);
   for (int turn = 0; turn < 150; ++turn) {
      for (Vok::U32 changes = random() % 50; changes > 0; --changes) {
         const double times[] = {1.5, -infinity, notANumber, 1e300};
         change(static_cast<Kind>(random() % kinds), random() % 5, random() % 6, 16 + random() % 3,
                random() % 2, times[random() % 4]);
         ASSERT_EQ(beside.state(), model.state()) << "turn " << turn;
      }
      mount.flush();
      if (turn % 3 == 0) {
         reader.deliver(random() % 8);
         continue;
      }
      while (reader.deliver(100) == 100) {
      }
      ASSERT_EQ(behind.state(), model.state()) << "turn " << turn;
      ASSERT_EQ(Consumers(read).state(), model.state()) << "turn " << turn;
   }
   behind.bindings->handleDelete();
   behind.advertisements->handleDelete();
   behind.bindings->handlePeerLbtLabels();
   EXPECT_EQ(behind.state(), State()); // and deaf
   behind.bindings->handleInitialized();
   behind.advertisements->handleInitialized();
   EXPECT_EQ(behind.state(), model.state());
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

TEST_F(LdpTest, aRowThatCannotBeReadIsMissingAndHidesNoOther) {
   for (const Vok::U32 bound : {16, 17, 18})
      change(label, 1, 1, bound, true);
   const unsigned char damage = 0x55;
   const Pooltab::Descriptor file = folder->open("peerLbtLabel.rows", Pooltab::Access::write);
   ASSERT_EQ(pwrite(file.fd(), &damage, 1, 8192 + 96 + 20), 1); // the second block
   const Vok::Ptr<LdpLabelBindingTable> read = ldpLabelBindingTableFactory("ldp");
   const VokPooltab::ReaderMount reader(read, folder);
   const Consumers consumers(read);
   model.labels[Where(1, 1)].erase(17);
   EXPECT_EQ(consumers.state(), model.state());
   EXPECT_EQ(read->peerLbtLabelControl().corruptions(), 1u);
   const Vok::TraceCapture capture("LdpLibSm/8");
   consumers.bindings->handlePeerLbtLabel({peerOf(1), fecOf(1), Kinet::MplsLabel(17)});
   EXPECT_EQ(read->peerLbtLabelControl().corruptions(), 2u);
   EXPECT_EQ(consumers.state(), model.state());
   EXPECT_TRUE(capture.lines().at(0).ends_with(" fec: 10.0.1.0/24 label: 17")) << capture.lines()[0];
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
                            "256.0.0.1:0", "0102.0304.0506", "a.b.c.d:0"}) {
      std::string message;
      try {
         parsed.stringValueIs(text);
      } catch (const Vok::RangeError& error) {
         message = error.what();
      }
      EXPECT_EQ(message, "Invalid LdpIdentifier") << text;
      EXPECT_EQ(parsed, identifier) << text;
   }
}

} // namespace
} // namespace Ldp::LdpPooltab
