#include "Kinet/EthAddr.h"
#include "Kinet/IntfId.h"
#include "Kinet/IpGenPrefix.h"
#include "Kinet/NetNumber.h"
#include "Kinet/test/ValueChecks.h"

using namespace Kinet;

namespace {

const std::vector<std::string> addresses = {
    "0.0.0.0",      "1.2.3.4",     "10.0.0.0",          "255.255.255.255",
    "::",           "::1",         "::102:304",         "::ffff:1.2.3.4",
    "0:1::",        "2001:db8::1", "2001:db8::1:0:0:1", "2001:db8:0:1:1:1:1:1",

    "fe80::1:0:0:1"};
const std::vector<std::string> prefixes = {"0.0.0.0/0", "10.0.0.0/7", "10.0.0.0/8",    "10.0.0.1/32",
                                           "::/0",      "::1/128",    "2001:db8::/32", "2001:db8::/127"};
const std::vector<std::string> interfaces = {"''", "'Ethernet1.100'", "'a'", "'it\\'s'", "'vrf-red_15bytes'"};

TEST(Address, RoundTripsInOrder) {
   expectRoundTrips<IpGenAddr>(addresses);
   expectRoundTrips<IpGenPrefix>(prefixes);
   expectRoundTrips<IntfId>(interfaces);
   expectRoundTrips<EthAddr>({"00:00:00:00:00:00", "02:00:5e:10:00:01", "ff:ff:ff:ff:ff:ff"});
   expectRoundTrips<NetU32>({"0", "1", "256", "4294967295"});
   expectRoundTrips<NetU16>({"0", "1", "256", "65535"});
}

TEST(Address, RowsThatItWouldNotWriteAreRefused) {
   expectNoForeignRow<IpGenAddr>(addresses);
   expectNoForeignRow<IpGenPrefix>(prefixes);
   expectNoForeignRow<IntfId>(interfaces);
}

TEST(Address, EverySpellingOfIpv6PrintsOneWay) {
   const std::pair<const char*, const char*> cases[] = {{"2001:DB8:0:0:0:0:0:1", "2001:db8::1"},
                                                        {"0:0:0:0:0:FFFF:0102:0304", "::ffff:1.2.3.4"},
                                                        {"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
                                                        {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"}};
   for (const auto& [given, printed] : cases)
      EXPECT_EQ(IpGenAddr(given).stringValue(), printed);
}

TEST(Address, BadTextsAreRefused) {
   for (const char* text : {"", "1.2.3", "1.2.3.4.5", "01.2.3.4", "256.0.0.1", "1.2.3.4 ", "1::2::3",
                            "12345::", "fe80::1%eth0", ":", "1:2:3:4:5:6:7:8:9"})
      EXPECT_EQ(errorOf<IpGenAddr>(text).find("ParseError: "), 0u) << text;
   for (const char* text :
        {"", "02:00:5e:10:00", "2:0:5e:10:0:1", "02-00-5e-10-00-01", "02:00:5e:10:00:01:02"})
      EXPECT_EQ(errorOf<EthAddr>(text).find("ParseError: "), 0u) << text;
   for (const char* text : {"-1", "01", "65536"})
      EXPECT_EQ(errorOf<NetU16>(text).find("ParseError: "), 0u) << text;
   for (const char* text : {"10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/08", "::/129"})
      EXPECT_EQ(errorOf<IpGenPrefix>(text).find("ParseError: "), 0u) << text;
   EXPECT_EQ(errorOf<IpGenPrefix>("10.0.0.1/8"),
             "RangeError: IpGenPrefix::address 10.0.0.1 has bits beyond its "
             "length 8, the prefix is 10.0.0.0/8");
   EXPECT_EQ(errorOf<IntfId>("'sixteen-bytes-it'"),
             "RangeError: IntfId::bytes > IntfId::maxLength not allowed");
   for (const char* text : {"'a b'", "'a/b'", "'eth0:1'", "'.'", "'..'", "'\\x00'", "'\\n'"})
      EXPECT_EQ(errorOf<IntfId>(text).find("RangeError: IntfId::name"), 0u) << text;
   EXPECT_EQ(errorOf<IntfId>("eth0").find("ParseError: "), 0u);
}

TEST(Address, FamilyDistinguishesButDoesNotHash) {
   const IpGenAddr ipv4("1.2.3.4");
   const IpGenAddr ipv6("102:304::");
   EXPECT_NE(ipv4, ipv6);
   EXPECT_EQ(ipv4.hash(), ipv6.hash());
   EXPECT_NE(ipv4.hash(), IpGenAddr("1.2.3.5").hash());
}

TEST(Address, NetNumbersStandInNetworkOrder) {
   Vok::U8 row[4];
   NetU32(0x01020304).pack(row);
   EXPECT_EQ(row[0], 1);
   EXPECT_EQ(row[3], 4);
   const NetU16 number(0x0102);
   EXPECT_EQ(*reinterpret_cast<const Vok::U8*>(&number), 1);
   EXPECT_EQ(number.hostValue(), 0x0102);
}

} // namespace
