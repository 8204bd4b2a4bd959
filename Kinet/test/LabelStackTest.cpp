#include "Kinet/MplsLabelOperation.h"
#include "Kinet/test/ValueChecks.h"

using namespace Kinet;

namespace {

const std::vector<std::string> stacks = {"-",       "0",       "16",      "1048575",
                                         "8388608", "100/200", "200/100", "1/2/3/4/5/6/7"};

TEST(LabelStack, RoundTripsInOrder) {
   expectRoundTrips<BoundedMplsLabelStack>(stacks);
   expectRoundTrips<MplsLabelOperation>(stacks);
}

TEST(LabelStack, RowsThatItWouldNotWriteAreRefused) {
   expectNoForeignRow<BoundedMplsLabelStack>(stacks);
}

TEST(LabelStack, BadTextsAreRefused) {
   const char* label = "RangeError: MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed";
   const char* count = "RangeError: BoundedMplsLabelStack::count > 7 not allowed";
   EXPECT_EQ(errorOf<BoundedMplsLabelStack>("8388609"), label);
   EXPECT_EQ(errorOf<BoundedMplsLabelStack>("16/4294967296"), label);
   EXPECT_EQ(errorOf<BoundedMplsLabelStack>("1/2/3/4/5/6/7/8"), count);
   for (const char* text : {"", "/", "16/", "/16", "016", "16,17", "--"})
      EXPECT_EQ(errorOf<BoundedMplsLabelStack>(text).find("ParseError: "), 0u) << text;
}

TEST(LabelStack, SlotsAboveTheCountDoNotCount) {
   BoundedMplsLabelStack stack;
   stack.labelIs(MplsStackEntryIndex(0), MplsLabel(16));
   EXPECT_EQ(stack, BoundedMplsLabelStack());
   EXPECT_EQ(stack.hash(), BoundedMplsLabelStack().hash());
   stack.countIs(1);
   EXPECT_EQ(stack, BoundedMplsLabelStack(MplsLabel(16)));
   stack.push(MplsLabel(17));
   EXPECT_EQ(stack.stringValue(), "17/16");
   EXPECT_EQ(stack.label(MplsStackEntryIndex(0)), MplsLabel(16));
   stack.countIs(0);
   stack.countIs(2);
   EXPECT_EQ(stack.label(MplsStackEntryIndex(1)), MplsLabel());
   EXPECT_THROW(stack.countIs(8), Vok::RangeError);
   EXPECT_EQ(stack.count(), 2);
   EXPECT_THROW(MplsStackEntryIndex(7), Vok::RangeError);
}

TEST(LabelStack, LogsOutOfRangeAreRefused) {
   const auto errorOfLog = [](Vok::U8 count, Vok::U32 first, Vok::U32 second) -> std::string {
      Vok::NboAttrLog::Writer log;
      log.u8(count);
      for (int slot = 0; slot < 7; ++slot)
         log.u32(slot == 0 ? first : slot == 1 ? second : 0x100000);
      Vok::NboAttrLog::Reader reader(log.buffer());
      BoundedMplsLabelStack stack;
      try {
         BoundedMplsLabelStack::readLog(reader, stack);
      } catch (const Vok::RangeError& error) {
         EXPECT_TRUE(stack.empty());
         return error.what();
      }
      return {};
   };
   EXPECT_EQ(errorOfLog(1, 16, 0x100000), "");
   EXPECT_EQ(errorOfLog(8, 16, 0x100000), "BoundedMplsLabelStack::count > 7 not allowed");
   EXPECT_EQ(errorOfLog(1, 0x800001, 0x100000), MplsLabel::rangeText);
   EXPECT_EQ(errorOfLog(1, 16, 17), "BoundedMplsLabelStack::label set in a slot above the count not allowed");
}

TEST(LabelStack, ActionFollowsFromTheNumberOfLabels) {
   const std::pair<const char*, MplsLabelAction> cases[] = {
       {"-", MplsLabelAction::pop}, {"300", MplsLabelAction::swap}, {"400/500/600", MplsLabelAction::push}};
   for (const auto& [text, action] : cases)
      EXPECT_EQ(Vok::strepToValue<MplsLabelOperation>(text).labelAction(), action) << text;
}

} // namespace
