#include "Mpls/LfibRules.h"
#include "Mpls/MplsTypes.h"
#include "Vok/Hash.h"
#include "Vok/TypeOf.h"

#include <gtest/gtest.h>
#include <random>

namespace Mpls {
namespace {

/// What `act` raises: "" for nothing.
template <class Act>
std::string raised(Act act) {
   try {
      act();
   } catch (const Vok::Error& error) {
      return error.what();
   }
   return "";
}

template <class T>
std::string textError(const std::string& text) {
   return raised([&] { Vok::strepToValue<T>(text); });
}

RouteKey keyOf(const std::vector<Vok::U32>& bottomFirst) {
   Kinet::BoundedMplsLabelStack stack;
   for (std::size_t slot = 0; slot < bottomFirst.size(); ++slot)
      stack.labelIs(Kinet::MplsStackEntryIndex(slot), Kinet::MplsLabel(bottomFirst[slot]));
   stack.countIs(static_cast<Vok::U8>(bottomFirst.size()));
   return RouteKey(stack);
}

TEST(TypesTest, labelRangesAreChecked) {
   const std::string base = "LabelRange::base > Kinet::MplsLabel::max not allowed";
   const std::string size = "LabelRange::size > Expr @Mpls.vok:135 not allowed";
   const std::tuple<Vok::U32, Vok::U32, std::string> cases[] = {
       {1048575, 1, ""},   {1048575, 2, size}, {0, 1048576, ""},      {0, 1048577, size},
       {1048576, 0, base}, {16, 0, ""},        {16, 0xffffffff, size}};
   for (const auto& [first, count, message] : cases) {
      SCOPED_TRACE(std::to_string(first) + "+" + std::to_string(count));
      EXPECT_EQ(raised([&, first = first, count = count] { LabelRange(Kinet::MplsLabel(first), count); }),
                message);
      const std::string text = "Value('Mpls::LabelRange', ** {'base': " + std::to_string(first) +
                               ", 'size': " + std::to_string(count) + "})";
      EXPECT_EQ(textError<LabelRange>(text), message);
      if (message.empty()) {
         EXPECT_EQ(Vok::valueToStrep(Vok::strepToValue<LabelRange>(text)), text);
      }
   }
   EXPECT_THROW(Vok::hashOf(LabelRange()), Vok::UnhashableError);
   for (const char* text : {"", "Value('Mpls::LabelRange', ** {'base': 16, 'size': 1})x",
                            "Value('Mpls::LabelRange', ** {'size': 1, 'base': 16})"})
      EXPECT_THROW(Vok::strepToValue<LabelRange>(text), Vok::ParseError) << text;
}

// What comes out of a log was checked by who wrote it; only a label's own bound is looked at.
TEST(TypesTest, logsAreReadWithoutInvariants) {
   const auto read = []<class T>(std::initializer_list<Vok::U32> words, T& value) {
      Vok::NboAttrLog::Writer log;
      for (const Vok::U32 word : words)
         log.u32(word);
      Vok::NboAttrLog::Reader reader(log.buffer());
      Vok::typeOf<T>().readLog(reader, &value);
   };
   LabelRange range;
   read({1048576, 5}, range);
   EXPECT_EQ(range.baseValue(), 1048576u);
   EXPECT_EQ(range.size(), 5u);
   EXPECT_EQ(raised([&] {
                read({8388609, 0}, range);
             }),
             "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
   LfibFlag flag;
   read({2}, flag);
   EXPECT_EQ(flag.value(), 2u);
   EXPECT_EQ(LfibFlag::controlWordPresent_().value(), 1u);
}

TEST(TypesTest, defaultRangesStandApart) {
   const LabelRange ranges[] = {LabelRangeInfo::staticDefaultRange(), LabelRangeInfo::dynamicDefaultRange(),
                                LabelRangeInfo::srgbDefaultRange(), LabelRangeInfo::srlbDefaultRange(),
                                LabelRangeInfo::l2evpnDefaultRange()};
   Vok::U32 end = 16;
   for (const LabelRange& range : ranges) {
      EXPECT_GE(range.baseValue(), end);
      end = range.baseValue() + range.size();
   }
   EXPECT_EQ(end, 1048576u);
}

TEST(TypesTest, routeKeysOrderByLengthThenFromTheTop) {
   const std::vector<std::vector<Vok::U32>> ascending = {
       {}, {16}, {1048575}, {17, 16}, {16, 17}, {17, 17}, {99, 98, 1}, {0, 0, 0, 0, 0, 0, 1}};
   for (std::size_t i = 0; i < ascending.size(); ++i)
      for (std::size_t j = 0; j < ascending.size(); ++j)
         EXPECT_EQ(keyOf(ascending[i]) <=> keyOf(ascending[j]), i <=> j) << i << " " << j;
   EXPECT_EQ(keyOf({16, 17}).stringValue(), "TOP ( 17 16 ) BOTTOM");
   EXPECT_EQ(RouteKeyAndMetric(keyOf({16, 17}), RouteMetric(100)).stringValue(),
             "TOP ( 17 16 ) BOTTOM [100]");
   EXPECT_EQ(keyOf({}).stringValue(), "TOP ( ) BOTTOM");
   EXPECT_EQ(keyOf({16, 17}).topLabel().value(), 17u);
   EXPECT_EQ(keyOf({}).topLabel().value(), 0x100000u);
   EXPECT_LT(RouteKeyAndMetric(keyOf({16}), RouteMetric(0)), RouteKeyAndMetric(keyOf({16}), RouteMetric(1)));
   EXPECT_LT(RouteKeyAndMetric(keyOf({16}), RouteMetric(255)),
             RouteKeyAndMetric(keyOf({17}), RouteMetric(0)));

   // Slots above the count say nothing.
   Kinet::BoundedMplsLabelStack stack = keyOf({16, 17}).labelStack();
   stack.countIs(1);
   EXPECT_EQ(RouteKey(stack), keyOf({16}));
   EXPECT_EQ(RouteKey(stack).hash(), keyOf({16}).hash());
}

/// The one-at-a-time hash, byte by byte over a buffer, mixed once.
Vok::U32 slowHash(const std::vector<Vok::U32>& labels) {
   std::vector<unsigned char> bytes;
   for (const Vok::U32 label : labels)
      for (const Vok::U32 divisor : {1u, 256u, 65536u, 16777216u})
         bytes.push_back(static_cast<unsigned char>(label / divisor % 256));
   Vok::U32 h = 0;
   for (const unsigned char byte : bytes) {
      h = h + byte;
      h = h + h * 1024;
      h = h ^ h / 64;
   }
   if (!bytes.empty()) {
      h = h + h * 8;
      h = h ^ h / 2048;
      h = h + h * 32768;
   }
   Vok::Hash mixed;
   mixed.mix(h);
   return mixed.result();
}

TEST(TypesTest, routeKeysHashTheirLabelsOneByteAtATime) {
   std::mt19937 random(11);
   for (int i = 0; i < 200; ++i) {
      std::vector<Vok::U32> labels(random() % 8);
      for (Vok::U32& label : labels)
         label = random() % 1048576;
      EXPECT_EQ(keyOf(labels).hash(), slowHash(labels));
   }
}

TEST(TypesTest, viasAndAdjacencyKeysOrderInDeclaredOrder) {
   const auto via = [](auto change) {
      Via value;
      change(value);
      return value;
   };
   const Via unset;
   EXPECT_EQ(unset.weight(), 1u);
   const Via ascending[] = {via([](Via& v) { v.weightIs(0); }),
                            unset,
                            via([](Via& v) {
                               v.ttlModeIs(pipe_);
                               v.weightIs(0);
                            }),
                            via([](Via& v) { v.skipEgressAclIs(true); }),
                            via([](Via& v) { v.payloadTypeIs(mpls_); }),
                            via([](Via& v) { v.intfIs(Kinet::IntfId("Ethernet1")); }),
                            via([](Via& v) { v.outLabelIs(Kinet::MplsLabel(0x100001)); }),
                            via([](Via& v) {
                               v.labelActionIs(Kinet::MplsLabelAction::pop);
                               v.outLabelIs(Kinet::MplsLabel(0));
                            }),
                            via([](Via& v) { v.nexthopGroupIs("group"); }),
                            via([](Via& v) {
                               v.nextHopIs(Kinet::IpGenAddr("10.0.0.1"));
                               v.weightIs(0);
                            })};
   for (std::size_t i = 0; i < std::size(ascending); ++i) {
      for (std::size_t j = 0; j < std::size(ascending); ++j)
         EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j) << i << " " << j;
      EXPECT_EQ(Vok::strepToValue<Via>(Vok::valueToStrep(ascending[i])), ascending[i]);
   }
   const Via zero4 = via([](Via& v) { v.nextHopIs(Kinet::IpGenAddr("0.0.0.0")); });
   const Via zero6 = via([](Via& v) { v.nextHopIs(Kinet::IpGenAddr("::")); });
   EXPECT_EQ(zero4.hash(), zero6.hash());
   EXPECT_NE(zero4, zero6);

   EXPECT_LT(AdjacencyKey(1, mplsMulticast_), AdjacencyKey(0x100000000, mplsUnknown_));
   EXPECT_LT(AdjacencyKey(1, mplsIp_), AdjacencyKey(1, mplsPseudowire_));
}

TEST(TypesTest, evpnKinds) {
   for (Vok::U32 number = 0; number < 256; ++number)
      EXPECT_EQ(isEvpnViaType(static_cast<LfibViaType>(number)), number >= 3 && number <= 8) << number;
}

TEST(TypesTest, fecsReadWhatTheyPrint) {
   const std::pair<const char*, FecType> texts[] = {{"RSVP[Session=5, SP=7]", FecType::rsvpFec},
                                                    {"RSVP[Session=1048575, SP=0]", FecType::rsvpFec},
                                                    {"MLDP[Root=1.2.3.4, ID=9]", FecType::mldpFec},
                                                    {"MLDP[Root=fe80::1, ID=4294967295]", FecType::mldpFec},
                                                    {"10.1.0.0/16", FecType::prefixFec},
                                                    {"2001:db8::/32", FecType::prefixFec}};
   for (const auto& [text, type] : texts) {
      FwdEqvClass fec;
      fec.stringValueIs(text);
      EXPECT_EQ(fec.stringValue(), text);
      EXPECT_EQ(fec.fecType(), type);
      EXPECT_EQ(raised([&, text = text] { fec.stringValueIs(std::string(text) + " x"); }),
                "Invalid FwdEqvClass");
      EXPECT_EQ(fec.stringValue(), text);
   }
   FwdEqvClass fec = FwdEqvClass::rsvpFec(Rsvp::RsvpCliId(5), Rsvp::RsvpCliId(7));
   const FwdEqvClass before = fec;
   EXPECT_NE(raised([&] { fec.stringValueIs("RSVP[Session=1048576, SP=1]"); }).find("RsvpCliId::"),
             std::string::npos);
   EXPECT_EQ(fec, before);
   fec.fecTypeIs(static_cast<FecType>(9));
   EXPECT_EQ(fec.stringValue(), "");
}

TEST(TypesTest, routerIdsKnowTheirProtocolByTheirText) {
   struct {
      const char* text;
      Protocol protocol;
      Vok::U32 id;
      Vok::U16 labelSpace;
   } const cases[] = {{"1.1.1.1:0", Protocol::ldp, 0x01010101, 0},
                      {"10.0.0.1:65535", Protocol::ldp, 0x0a000001, 65535},
                      {"1.1.1.1", Protocol::mplste, 0x01010101, 0},
                      {"0102.0304.0506", Protocol::isis, 0x01020304, 0x0506},
                      {"00ab.cd00.0001", Protocol::isis, 0x00abcd00, 0x0001}};
   for (const auto& expected : cases) {
      RouterId id;
      id.stringValueIs(expected.text);
      EXPECT_EQ(id.protocol(), expected.protocol) << expected.text;
      EXPECT_EQ(id.rtrId(), expected.id) << expected.text;
      EXPECT_EQ(id.lblSpace(), expected.labelSpace) << expected.text;
      EXPECT_EQ(id.stringValue(), expected.text);
   }
   for (const char* text : {"", "1.2", "1.1.1.1:", "1.1.1.1 ", "1.1.1:0", "1.1.1.256", "0102.0304.050g",
                            "1.1.1.1.1", "1.1.1.1:65536", "0102.0304.0506 "}) {
      RouterId id;
      id.stringValueIs("1.1.1.1:0");
      EXPECT_EQ(raised([&] { id.stringValueIs(text); }), "Invalid Mpls::RouterId") << text;
      EXPECT_EQ(id.protocol(), Protocol::unknown) << text;
   }
   const Vok::U8 bytes[6] = {1, 2, 3, 4, 5, 6};
   EXPECT_EQ(RouterId(Protocol::isis, bytes).stringValue(), "0102.0304.0506");
   EXPECT_DEATH(RouterId(Protocol::ldp, bytes),
                "proto == isis\\(\\) && \"Only ISIS system IDs are handled by this constructor\"");
}

} // namespace
} // namespace Mpls
