#include "tools/mplsctl/formats/IpRouteText.h"
#include "tools/mplsctl/formats/RouteWords.h"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace mplsctl {

namespace {

/// A route in one line, as the tables would hold it: "16 lfibSourceLdp 100: swap 20 10.0.0.1 'eth0' w1 t0".
std::string described(const RouteFile& file, const FileRoute& route) {
   std::string text = fmt::format("{} {} {}:", route.label, stringValue(route.source), route.metric);
   for (const Mpls::LfibMplsVia& hop : file.hopsOf(route))
      text += fmt::format(" {} {} {} '{}' w{} t{}", stringValue(hop.labelAction()),
                          hop.labelStack().stringValue(), hop.nextHop().stringValue(), hop.intf().name(),
                          hop.weight(), static_cast<unsigned>(hop.ttlMode()));
   return text;
}

std::vector<std::string> routesIn(const RouteFile& file) {
   std::vector<std::string> lines;
   for (const FileRoute& route : file.routes)
      lines.push_back(described(file, route));
   return lines;
}

std::vector<std::string> badLinesIn(const RouteFile& file) {
   std::vector<std::string> lines;
   for (const BadLine& bad : file.badLines)
      lines.push_back(fmt::format("{}: {}", bad.line, bad.what));
   return lines;
}

std::vector<std::string> remarksIn(const RouteFile& file) {
   std::vector<std::string> lines;
   for (const Remark& remark : file.remarks)
      lines.push_back(fmt::format("{} {} x{} at {}",
                                  remark.kind == Remark::Kind::skipped ? "skipped" : "note", remark.what,
                                  remark.count, remark.line));
   return lines;
}

using Lines = std::vector<std::string>;

TEST(RouteFormats, oneTableInEveryFormat) {
   const std::pair<Format, const char*> texts[] = {
       {Format::ipRouteText, "100 via inet 10.0.0.2 dev veth0 proto static \n"
                             "200 as to 400/500/600 via inet6 fe80::1 dev eth0 proto ldp\n"
                             "\n"
                             "301 dev vrf-red \r\n"
                             "400 proto bgp metric 20 ttl-propagate disabled \n"
                             "\tnexthop as to 20 via inet 10.0.0.1 dev eth1 weight 3 \n"
                             "\tnexthop via inet 10.0.0.2 dev eth2 weight 1"},
       {Format::ipRouteText,
        "100 via 10.0.0.2 dev veth0\n"
        "200 as 400/500/600 via inet6 fe80:0::1 dev eth0 proto 193\n"
        "unicast 301 dev vrf-red\n"
        "400 proto bgp metric 20 ttl-propagate disabled \\\tnexthop as to 20 via inet 10.0.0.1 "
        "dev eth1 weight 3 \\\tnexthop via inet 10.0.0.2 dev eth2 weight 1 \n"},
       {Format::ipBatch, "# before\nroute add 999 dev gone\n"
                         "route add 100 via inet 10.0.0.2 dev veth0 # why\n"
                         "-f mpls route add 200 as to 400/500/600 via inet6 fe80::1 dev eth0 proto ldp\n"
                         "route add 301 dev lo\nroute del 999\nroute replace 301 dev vrf-red\n"
                         "route add 400 proto bgp metric 20 ttl-propagate disabled \\\n"
                         " nexthop as 20 via inet 10.0.0.1 dev eth1 weight 3 \\\n"
                         " nexthop via inet 10.0.0.2 dev eth2\n"},
       {Format::ipRouteJson,
        R"json([{"dst":"100","via":{"family":"inet","host":"10.0.0.2"},"dev":"veth0","protocol":"static","flags":[]},
            {"dst":200,"to":"400/500/600","via":{"family":"inet6","host":"fe80::1"},"dev":"eth0","protocol":"ldp"},
            {}, {"dst":"301","dev":"vrf-red"},
            {"dst":"400","protocol":"bgp","metric":20,"ttl-propogate":"disabled","flags":[],"nexthops":[
               {"to":"20","via":{"family":"inet","host":"10.0.0.1"},"dev":"eth1","weight":3,"flags":[]},
               {"via":{"host":"10.0.0.2"},"dev":"eth2","weight":1,"flags":[]}]}])json"},
   };
   const Lines wanted = {"100 lfibSourceStaticMpls 100: pop - 10.0.0.2 'veth0' w1 t0",
                         "200 lfibSourceLdp 100: push 400/500/600 fe80::1 'eth0' w1 t0",
                         "301 lfibSourceStaticMpls 100: pop - 0.0.0.0 'vrf-red' w1 t0",
                         "400 lfibSourceBgpLu 20: swap 20 10.0.0.1 'eth1' w3 t1 pop - 10.0.0.2 'eth2' w1 t1"};
   for (const auto& [format, text] : texts) {
      const RouteFile file = readRoutes("t", text);
      EXPECT_EQ(file.format, format);
      Lines got = routesIn(file);
      std::ranges::sort(got); // what replaces a route stands where it replaced it
      EXPECT_EQ(got, wanted) << text;
      EXPECT_EQ(badLinesIn(file), Lines()) << text;
      EXPECT_EQ(remarksIn(file), Lines()) << text;
      EXPECT_EQ(file.sources.to_ulong(), 1ul << 1 | 1ul << 7 | 1ul << 15);
   }
}

TEST(RouteFormats, tableOfALabelSwitchingRouter) {
   const RouteFile file = readRoutes("t", R"json({
  "16": {"inLabel":16,"installed":true,"nexthops":[
     {"type":"SR (IS-IS)","outLabel":3,"installed":true,"nexthop":"10.0.1.1","distance":115},
     {"type":"LDP","outLabelStack":[24019,24011],"installed":true,"interface":"eth1","distance":115}],
   "backupNexthops":[{"type":"SR (IS-IS)","outLabel":17,"nexthop":"10.0.1.9"}]},
  "17": {"inLabel":17,"nexthops":[{"type":"SR (IS-IS)","outLabel":3,"installed":true}]},
  "18": {"nexthops":[{"type":"SR-TE","outLabelStack":[3,400],"nexthop":"fe80::1","installed":true,"backupIndex":[0]}]},
  "19": {"nexthops":[{"type":"SR (IS-IS)","outLabel":"24019/24011","nexthop":"fe80::1","installed":true}]},
  "20": {"nexthops":[{"type":"SR (OSPF)","outLabel":"implicit-null","installed":true}]},
  "21": {"nexthops":[{"type":"Fancy","installed":true}, {"type":"Fancy","installed":true}]},
  "explicit-null": {"nexthops":[{"type":"BGP","outLabel":0}]}
})json");
   EXPECT_EQ(file.format, Format::mplsTableJson);
   EXPECT_EQ(badLinesIn(file), Lines());
   EXPECT_EQ(
       routesIn(file),
       (Lines{
           "16 lfibSourceIsisSrV4Prefix 115: pop - 10.0.1.1 '' w1 t0 push 24019/24011 0.0.0.0 'eth1' w1 t0",
           "17 lfibSourceIsisSrV4Prefix 100: pop - 0.0.0.0 '' w1 t0",
           "18 lfibSourceSrTePolicy 100: swap 400 fe80::1 '' w1 t0",
           "19 lfibSourceIsisSrV6Prefix 100: push 24019/24011 fe80::1 '' w1 t0",
           "20 lfibSourceIsisSrV4Prefix 100: pop - 0.0.0.0 '' w1 t0",
           "21 lfibSourceStaticMpls 100: pop - 0.0.0.0 '' w1 t0",
           "0 lfibSourceBgpLu 100: swap 0 0.0.0.0 '' w1 t0"}));
   EXPECT_EQ(remarksIn(file),
             (Lines{"note next hops of several types in one route: the first decides its source x1 at 4",
                    "skipped backup next hop x1 at 5",
                    "note implicit null in a stack of labels imposes nothing x1 at 7",
                    "skipped 'backupIndex' of a next hop x1 at 7",
                    "note the tables have no source for segment routing by OSPF: held as IS-IS x1 at 9",
                    "note unknown type of route: held as static x2 at 10",
                    "skipped a next hop given twice in one route x1 at 10",
                    "note a next hop that is not installed there: taken all the same x1 at 11"}));
}

TEST(RouteFormats, badLinesSayWhereAndWhat) {
   const std::pair<const char*, Lines> cases[] = {
       {"100 dev a\nx via inet 1.2.3.4\n\tnexthop dev b\n102 dev c",
        {"2: label 'x' is not a number from 0 to 1048575"}},
       {"1048576 dev a", {"1: label '1048576' is not a number from 0 to 1048575"}},
       {"3 dev a", {"1: label 3 (implicit null) stands in no packet: no route can match it"}},
       {"100/200 dev a", {"1: label '100/200' is not a number from 0 to 1048575"}},
       {"100 as 400//5 dev a", {"1: label '' is not a number from 0 to 1048575"}},
       {"100 as 1/2/4/5/6/7/8/9 dev a", {"1: more outgoing labels than the 7 that the tables hold"}},
       {"100 via inet 10.0.0.256", {"1: '10.0.0.256' is not an IPv4 address"}},
       {"100 via inet 10.0.0.01", {"1: '10.0.0.01' is not an IPv4 address"}},
       {"100 via inet6 fe80::1%eth0", {"1: 'fe80::1%eth0' is not an IPv6 address"}},
       {"100 via link 00:11", {"1: address family 'link' is neither inet nor inet6"}},
       {"100 via inet", {"1: nothing follows 'inet'"}},
       {"100 dev sixteen-bytes-is",
        {"1: 'sixteen-bytes-is' is not an interface name: 1 to 15 bytes, no blank, '/' or ':'"}},
       {"100 frob 1 dev a", {"1: unexpected word 'frob'"}},
       {"100 ttl-propagate maybe dev a", {"1: ttl-propagate 'maybe' is neither enabled nor disabled"}},
       {"100 proto ldp", {"1: route 100 has no next hop"}},
       {"100\n\tnexthop dev a weight 0\n\tnexthop weight 2\n",
        {"2: weight '0' is not a number from 1 to 256", "3: a next hop needs 'as', 'via' or 'dev'"}},
       {"100 dev a\n\tnexthop dev b",
        {"2: a route has either a next hop of its own or a list of 'nexthop', not both"}},
       {"\tnexthop dev b", {"1: 'nexthop' without a route above it"}},
       {"100 dev a\n\n100 dev b", {"3: label 100 has a route already, on line 1"}},
       {"route add 16 dev a \\\n nexthop\nroute show\n",
        {"1: a route has either a next hop of its own or a list of 'nexthop', not both",
         "3: 'route show' is none of route add, replace, change and del"}},
       {"route add", {"1: a label is missing"}},
       {"-6 route add 16 dev a", {"1: expected [ -f mpls ] route add|replace|del LABEL ..."}},
       {"[\n{\"dst\":\n\"x\"},\n{\"dev\":\"a\"}, 7]",
        {"2: label 'x' is not a number from 0 to 1048575", "4: a route without 'dst'",
         "4: an object is expected here"}},
       {"[{\"dst\":\"16\",\n\"dev\":5.5,\n\"via\":{\"family\":\"inet\"},\"nexthops\":[]}]",
        {"3: 'via' has no 'host'", "3: a route has either a next hop of its own or 'nexthops', not both"}},
       {"{\"16\":{\"inLabel\":17,\n\"nexthops\":\n{}}}",
        {"1: inLabel 17 stands under the key 16", "3: 'nexthops' is not an array"}},
       {"{\"16\":{\"nexthops\":[\n{\"outLabel\":\n-1}]}}",
        {"3: label '-1' is not a number from 0 to 1048575"}},
       {"{\"16\":\n{\"nexthops\":[{}]},\n\"16\":{\"nexthops\":[{}]}}",
        {"3: label 16 has a route already, on line 2"}},
   };
   for (const auto& [text, wanted] : cases)
      EXPECT_EQ(badLinesIn(readRoutes("t", text)), wanted) << text;
}

TEST(RouteFormats, aBadLineCostsItsRouteAlone) {
   const RouteFile file =
       readRoutes("t", "100\n\tnexthop dev a\n\tnexthop dev /\n101 dev b\nroute replace 102 dev :\n");
   EXPECT_EQ(routesIn(file), Lines{"101 lfibSourceStaticMpls 100: pop - 0.0.0.0 'b' w1 t0"});
   EXPECT_EQ(file.badLabels, (std::vector<Vok::U32>{100, 102}));
   EXPECT_FALSE(file.broken);
}

TEST(RouteFormats, whatIsNotReadToItsEndIsBroken) {
   for (const char* text :
        {"[", "{\"16\":{\"nexthops\":[{}]},\n", "[{\"dst\":\"16\",\"dev\":\"a\"}]\n]", "{\"a\" 1}"}) {
      const RouteFile file = readRoutes("t", text);
      EXPECT_TRUE(file.broken) << text;
      ASSERT_EQ(file.badLines.size(), 1u) << text;
      EXPECT_EQ(file.badLines[0].what.substr(0, 22), "not JSON: syntax error") << text;
   }
   for (const char* text : {"", " \n\t", "[]", "{}", "# nothing\n"}) {
      const RouteFile file = readRoutes("t", text);
      EXPECT_TRUE(file.routes.empty() && file.badLines.empty() && !file.broken && file.sources.none())
          << text;
   }
}

TEST(RouteFormats, hopsBeyondAViaSetAreCounted) {
   std::string text = "100";
   for (int i = 0; i < 130; ++i)
      text += fmt::format("\n nexthop via inet 10.0.0.{}", i);
   const RouteFile file = readRoutes("t", text);
   EXPECT_EQ(file.hops.size(), 128u);
   EXPECT_EQ(remarksIn(file), Lines{"skipped next hop beyond the 128 of a via set x2 at 1"});
}

TEST(RouteFormats, sourcesByTheirNames) {
   using enum Mpls::LFib::Source;
   const std::pair<const char*, Mpls::LFib::Source> names[] = {
       {"static", lfibSourceStaticMpls},   {"ldp", lfibSourceLdp},
       {"lfibSourceLdp", lfibSourceLdp},   {"isisSrV6Prefix", lfibSourceIsisSrV6Prefix},
       {"isis", lfibSourceIsisSrV4Prefix}, {"SR-TE", lfibSourceSrTePolicy},
   };
   for (const auto& [name, source] : names)
      EXPECT_EQ(sourceOption(name), source) << name;
   EXPECT_ANY_THROW(sourceOption("lfibSourceMax"));
   EXPECT_ANY_THROW(sourceOption("nobody"));
}

} // namespace

} // namespace mplsctl
