#include "tools/mplsctl/ldp/LdpPlan.h"
#include "tools/mplsctl/ldp/LdpView.h"
#include "tools/mplsctl/test/Printed.h"

#include "Pooltab/PrivateFolder.h"
#include "Pooltab/VokPooltab.h"

#include <fmt/core.h>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

namespace mplsctl {
namespace {

std::string fileText(const std::string& path) {
   std::ifstream file(path);
   return std::string(std::istreambuf_iterator<char>(file), {});
}

/// JSON without what is between its words.
std::string squeezed(std::string text) {
   std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
   return text;
}

std::string rowOf(const std::string& prefix, const std::string& neighbor, const std::string& local,
                  const std::string& remote, const std::string& inUse = ",\"inUse\":0") {
   return fmt::format(
       "{{\"addressFamily\":\"{}\",\"prefix\":\"{}\",\"neighborId\":\"{}\",\"localLabel\":\"{}\","
       "\"remoteLabel\":\"{}\"{}}}",
       prefix.find(':') == prefix.npos ? "ipv4" : "ipv6", prefix, neighbor, local, remote, inUse);
}

std::string bindingsOf(const std::vector<std::string>& rows) {
   std::string text;
   for (const std::string& row : rows)
      text += (text.empty() ? "" : ",\n") + row;
   return "{\"bindings\":[\n" + text + "\n]}";
}

struct LdpLoadTest : testing::Test {
   LdpPlan load(const std::vector<std::string>& texts) {
      files = LdpFiles();
      for (const std::string& text : texts)
         readLdpText(files, "file", text);
      settleUse(files);
      LdpPlan plan(files, *writing);
      plan.apply(*writing, ++now);
      return plan;
   }
   /// What another process shows: from a mount of its own, or from a view that has followed from the start.
   std::string shown(const LdpView& view) {
      while (readerMount.deliver(1000) > 0) {
      }
      return printed([&](tools::Output& out) { showLdpBindings(view, true, out); });
   }
   std::string shown() {
      const auto tables = ldpPublicationFactory("late");
      const VokPooltab::ReaderMount mount(tables, folder);
      return shown(LdpView(tables));
   }
   /// Bad lines, "LINE: WHAT".
   std::vector<std::string> errors() const {
      std::vector<std::string> lines;
      for (const LdpBadLine& bad : files.badLines)
         lines.push_back(fmt::format("{}: {}", bad.line.line, bad.line.what));
      return lines;
   }
   static std::vector<Vok::U32> numbers(const LdpPlan::Counts& counts) {
      return {counts.added, counts.changed, counts.removed, counts.unchanged};
   }

   std::shared_ptr<Pooltab::Folder> folder = Pooltab::privateFolder("ldp");
   Vok::Ptr<LdpPublication> writing = ldpPublicationFactory("writer"),
                            reading = ldpPublicationFactory("reader");
   VokPooltab::WriterMount writerMount{writing, folder};
   VokPooltab::ReaderMount readerMount{reading, folder};
   LdpFiles files;
   double now = 0;
};

using Numbers = std::vector<Vok::U32>;

TEST_F(LdpLoadTest, showsTheFileThatWasLoaded) {
   const std::string text = fileText(MPLS_SAMPLES "/ldp-bindings.json");
   const std::string neighbors = fileText(MPLS_SAMPLES "/ldp-neighbors.json");
   const LdpPlan first = load({text, neighbors});
   EXPECT_EQ(errors(), std::vector<std::string>());
   EXPECT_EQ(squeezed(shown()), squeezed(text));
   EXPECT_EQ(numbers(first.neighbors()), (Numbers{2, 0, 0, 0}));
   // Five labels are bound here. One neighbour was sent as many mappings as that; the other, fewer.
   EXPECT_EQ(numbers(first.advertisements()), (Numbers{5, 0, 0, 0}));

   const Vok::U64 changes =
       writing->localLbtLabelTable().changeCounter() + writing->neighborTable().changeCounter();
   const LdpPlan again = load({neighbors, text});
   EXPECT_EQ(again.bindings().unchanged, first.bindings().added);
   EXPECT_EQ(writing->localLbtLabelTable().changeCounter() + writing->neighborTable().changeCounter(),
             changes);

   const LdpView view(writing);
   const std::string shownNeighbors = printed([&](tools::Output& out) { showLdpNeighbors(view, true, out); });
   const LdpPlan back = load({shownNeighbors});
   EXPECT_EQ(errors(), std::vector<std::string>());
   EXPECT_EQ(numbers(back.neighbors()), (Numbers{0, 0, 0, 2}));
   EXPECT_EQ(numbers(back.advertisements()), (Numbers{0, 0, 0, 5})); // nothing new is told of them
}

TEST_F(LdpLoadTest, anyTablesOneAfterTheOther) {
   std::mt19937 random(7);
   const auto below = [&](Vok::U32 end) { return static_cast<Vok::U32>(random() % end); };
   const auto label = [&](bool orNone) {
      const Vok::U32 kind = below(orNone ? 4 : 3);
      return kind == 0 ? std::string("imp-null") : kind == 3 ? "-" : std::to_string(16 + below(5));
   };
   const LdpView follower(reading);
   for (int round = 0; round < 60; ++round) {
      std::vector<std::string> rows;
      for (const char* prefix :
           {"10.0.0.0/8", "10.0.0.0/24", "10.0.1.0/24", "192.0.2.1/32", "2001:db8::/32"}) {
         if (below(4) == 0)
            continue;
         const std::string local = label(true);
         const std::size_t before = rows.size();
         for (const char* neighbor : {"2.2.2.2", "2.2.2.2:1", "10.1.1.1"})
            if (below(2) == 0) {
               const std::string remote = label(true);
               rows.push_back(rowOf(prefix, neighbor, local, remote,
                                    remote != "-" && below(2) ? ",\"inUse\":1" : ",\"inUse\":0"));
            }
         if (rows.size() == before)
            rows.push_back(rowOf(prefix, "0.0.0.0", local, "-"));
      }
      const std::string text = bindingsOf(rows);
      load({text});
      EXPECT_EQ(errors(), std::vector<std::string>()) << text;
      EXPECT_EQ(squeezed(shown()), squeezed(text)) << round;
      EXPECT_EQ(squeezed(shown(follower)), squeezed(text)) << round;
   }
}

TEST_F(LdpLoadTest, routesAndNeighborsTellWhatIsInUse) {
   const auto neighbor = [](const char* id, const char* remote, const char* link) {
      return fmt::format(
          "\"{}\":{{\"tcpRemoteAddress\":\"{}\",\"discoverySources\":{{\"ipv4\":[\"interface: {}\"]}}}}", id,
          remote, link);
   };
   const auto route = [](const char* prefix, const char* said, const char* hop) {
      return fmt::format("\"{0}\":[{{\"prefix\":\"{0}\",{1}\"nexthops\":[{{{2}\"active\":true}}]}}]", prefix,
                         said, hop);
   };
   const std::string neighbors = "{" + neighbor("2.2.2.2", "10.9.0.2", "eth0") + "," +
                                 neighbor("3.3.3.3", "10.9.0.3", "lan0") + "," +
                                 neighbor("4.4.4.4", "10.9.0.4", "lan0") + "}";
   const char* const selected = "\"selected\":true,";
   const std::string routes =
       "{" + route("10.1.0.0/16", selected, "\"ip\":\"10.0.0.2\",\"interfaceName\":\"eth0\",") + "," +
       route("10.2.0.0/16", "", "\"ip\":\"10.0.0.2\",\"interfaceName\":\"eth0\",") + "," +
       route("10.3.0.0/16", selected, "\"interfaceName\":\"eth0\",") + "," +
       route("10.4.0.0/16", selected, "\"ip\":\"10.9.0.4\",\"interfaceName\":\"lan0\",") + "," +
       route("10.5.0.0/16", selected, "\"ip\":\"10.0.1.9\",\"interfaceName\":\"lan0\",") + "}";
   std::vector<std::string> rows;
   for (const char* prefix : {"10.1.0.0/16", "10.2.0.0/16", "10.3.0.0/16", "10.4.0.0/16", "10.5.0.0/16"})
      for (const char* peer : {"2.2.2.2", "3.3.3.3", "4.4.4.4"})
         rows.push_back(rowOf(prefix, peer, "16", "17", ""));
   load({bindingsOf(rows), neighbors, routes});
   EXPECT_EQ(errors(), std::vector<std::string>());
   std::set<std::string> used;
   for (const auto& row : writing->usedBindingEach())
      used.insert(row.key().fwdEqvClass().prefix().stringValue() + " " +
                  row.key().ldpIdentifier().stringValue());
   EXPECT_EQ(used, (std::set<std::string>{"10.1.0.0/16 2.2.2.2:0", "10.4.0.0/16 4.4.4.4:0"}));
}

TEST_F(LdpLoadTest, badRowsAreNamedAndTheirPrefixesKept) {
   load({bindingsOf(
       {rowOf("10.1.0.0/16", "2.2.2.2", "16", "17"), rowOf("10.2.0.0/16", "2.2.2.2", "18", "19")})});
   const LdpPlan plan = load({bindingsOf({
       rowOf("10.1.0.0/16", "2.2.2.2", "16", "1048576"),
       rowOf("10.3.0.0/16", "2.2.2.2", "20", "21"),
       rowOf("10.3.0.0/16", "2.2.2.2", "20", "22"),
       rowOf("10.4.0.0/16", "2.2.2.2", "23", "24"),
       rowOf("10.4.0.0/16", "3.3.3.3", "imp-null", "24"),
       rowOf("10.5.0.1/16", "2.2.2.2", "16", "17"),
       rowOf("10.6.0.0/16", "0.0.0.0", "16", "17"),
       rowOf("10.7.0.0/16", "2.2.2", "16", "17"),
       rowOf("10.8.0.0/16", "2.2.2.2", "16", "-", ",\"inUse\":1"),
       "{\"prefix\":\"10.9.0.0/16\"}",
       "17",
   })});
   EXPECT_EQ(errors(), (std::vector<std::string>{
                           "2: label '1048576' is not a number from 0 to 1048575",
                           "4: neighbor 2.2.2.2 has a second row for 10.3.0.0/16",
                           "6: local label imp-null of 10.4.0.0/16 was 23 before",
                           "7: '10.5.0.1/16' is no prefix",
                           "8: a remote label without the neighbor that bound it",
                           "9: '2.2.2' is no router id, which looks like 10.0.0.1",
                           "10: in use without a remote label",
                           "11: 'neighborId' is missing",
                           "12: an object is expected here",
                       }));
   EXPECT_EQ(numbers(plan.bindings()),
             (Numbers{0, 0, 2, 0})); // 10.2.0.0/16 is gone, here and at the neighbour
   EXPECT_EQ(squeezed(shown()), squeezed(bindingsOf({rowOf("10.1.0.0/16", "2.2.2.2", "16", "17")})));
}

} // namespace
} // namespace mplsctl
