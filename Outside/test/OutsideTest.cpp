#include "Kinet/test/ValueChecks.h"
#include "Outside/Bridging.h"
#include "Outside/Fib.h"
#include "Outside/IsisSystemId.h"
#include "Outside/L3.h"
#include "Outside/Rsvp.h"

namespace {

TEST(Outside, SystemIdRoundTrips) {
   using Routing::Isis::SystemId;
   expectRoundTrips<SystemId>({"0000.0000.0000", "0102.0304.0506", "ffff.ffff.ffff"});
   EXPECT_EQ(Vok::strepToValue<SystemId>("00AB.0000.0001").stringValue(), "00ab.0000.0001");
   for (const char* text :
        {"", "1.2.3", "0102.0304", "01020304.0506", "0102.0304.0506.0708", "0102:0304:0506"})
      EXPECT_EQ(errorOf<SystemId>(text).find("ParseError: "), 0u) << text;
}

TEST(Outside, BoundsAndTheirMessages) {
   const auto message = [](auto make) -> std::string {
      try {
         make();
      } catch (const Vok::RangeError& error) {
         return error.what();
      }
      return {};
   };
   const std::string vlan = "VlanId::value < 1 or > 4094 not allowed";
   EXPECT_EQ(message([] { Bridging::VlanId(0); }), vlan);
   EXPECT_EQ(message([] { Bridging::VlanId(4095); }), vlan);
   EXPECT_EQ(message([] { Bridging::VlanId(4094); }), "");
   EXPECT_EQ(message([] { Bridging::VlanIdOrNone(0); }), "");
   EXPECT_EQ(message([] { Rsvp::RsvpCliId(1048575); }), "");
   EXPECT_EQ(message([] { Rsvp::RsvpCliId(1048576); }),
             "RsvpCliId::value < RsvpCliId::errorValue or > RsvpCliId::maxValue not allowed");
   EXPECT_EQ(message([] { L3::VrfName(std::string(100, 'v')); }), "");
   EXPECT_EQ(message([] { L3::VrfName(std::string(101, 'v')); }),
             "VrfName::bytes > VrfName::maxLength not allowed");
   EXPECT_EQ(message([] { Pooltab::Fib::FecId(~Vok::U64(0)); }), "");
}

} // namespace
