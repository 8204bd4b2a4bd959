// What generated code does, on the sample schema that has one of everything.

#include "vokc/test/SampleBodies.h"

#include "Vok/Dir.h"

#include <gtest/gtest.h>

namespace Sample {
namespace {

template <class Error, class Action>
std::string raised(Action action) {
   try {
      action();
   } catch (const Error& error) {
      return error.what();
   }
   return "nothing raised";
}

TEST(GeneratedTest, boundsAreCheckedWithTheirMessage) {
   using Vok::RangeError;
   EXPECT_EQ(raised<RangeError>([] { Level(0); }), "Level::value < Level::min or > Level::max not allowed");
   EXPECT_EQ(raised<RangeError>([] { Level(4095); }),
             "Level::value < Level::min or > Level::max not allowed");
   EXPECT_EQ(raised<RangeError>([] { Label(0x800001); }), "Label::value < 0 or > 0x800000 not allowed");
   EXPECT_EQ(raised<RangeError>([] { Tag("ninebytes"); }), "Tag::bytes > Tag::maxLength not allowed");
   EXPECT_EQ(raised<RangeError>([] { Option(0x22); }), "Option::value > 0x21 not allowed");
   EXPECT_EQ(raised<RangeError>([] { GearInstance(2); }), "Sample::Gear has no enumerator with the number 2");
   EXPECT_EQ(Level().value(), 7);
   EXPECT_EQ(Label().value(), Label::none);
   EXPECT_EQ(stringValue(GearInstance("backwards")), "backwards");
}

TEST(GeneratedTest, invariantsAreCheckedInOrderAndLeaveTheValueAsItWas) {
   struct Case {
      Vok::U32 base, size;
      std::string error;
   };
   const Case cases[] = {
       {0, 1048576, "nothing raised"},
       {0, 1048577, "Stretch::size > what is left not allowed"},
       {1048575, 1, "nothing raised"},
       {1048575, 2, "Stretch::size > what is left not allowed"},
       {1048576, 9999999, "Stretch::base > 1048575 not allowed"},
   };
   for (const Case& item : cases) {
      EXPECT_EQ(raised<Vok::RangeError>([&] { Stretch(Label(item.base), item.size); }), item.error);
      Stretch changed(Label(item.base > 1048575 ? 0 : item.base), 0);
      const Stretch before = changed;
      const std::string error = raised<Vok::RangeError>([&] {
         changed.baseIs(Label(item.base));
         changed.sizeIs(item.size);
      });
      EXPECT_EQ(error, item.error);
      EXPECT_TRUE(error == "nothing raised" ? changed.size() == item.size : changed == before);
   }
   EXPECT_EQ(Stretch::whole().last(), 1048575u);
   EXPECT_EQ(raised<Vok::UnhashableError>([] { Vok::hashOf(Stretch()); }),
             "unhashable type: Sample::Stretch");
}

TEST(GeneratedTest, textFormsNameEveryFieldAndReadBack) {
   Scalars scalars;
   scalars.wideIs(Wide::highest);
   scalars.textIs("it's");
   scalars.optionIs(Option::dim_());
   const std::string text = Vok::valueToStrep(scalars);
   EXPECT_EQ(Vok::strepToValue<Scalars>(text), scalars);
   EXPECT_EQ(
       Vok::valueToStrep(Plain()),
       "Value('Sample::Plain', ** {'key': Value('Sample::Point', ** {'index': 0, 'gear': parked}), 'next': "
       "Value('Sample::Point', ** {'index': 0, 'gear': parked}), 'tag': '', 'sign': False})");
   EXPECT_EQ(Plain().pooltabString(), Vok::valueToStrep(Plain()));
   EXPECT_EQ(Vok::valueToStrep(Names()), "");
   EXPECT_EQ(Vok::strepToValue<ByHand>("#27").number(), 27u);
   EXPECT_FALSE(Bag::vokType().parsable());
}

TEST(GeneratedTest, whatIsDecidedByHandIs) {
   EXPECT_EQ(ByHand(17), ByHand(7));
   EXPECT_LT(ByHand(21), ByHand(7));
   EXPECT_EQ(Vok::hashOf(ByHand(21)), 1u);
   EXPECT_EQ(Point(5).gear(), Gear::forwards);
   EXPECT_TRUE(!Point::origin());
   EXPECT_LT(Point(5, Gear::backwards), Point(6, Gear::parked));
   Vok::NboAttrLog::Writer log;
   const ByHand written(0x102);
   ByHand::vokType().writeLog(&written, log);
   EXPECT_EQ(std::vector<Vok::U8>(log.buffer().begin(), log.buffer().end()), std::vector<Vok::U8>{2});
   Vok::NboAttrLog::Reader reader(log.buffer());
   ByHand read;
   ByHand::vokType().readLog(reader, &read);
   EXPECT_EQ(read.number(), 2u);
}

TEST(GeneratedTest, uncheckedSumsArePlainAndStopWhereTheyAreUsed) {
   Slot slot(6);
   EXPECT_EQ(slot + Slot(1), Slot(7));
   EXPECT_EQ((slot += 3).value(), 9);
   EXPECT_EQ((slot + 250).value(), 3);
   EXPECT_DEATH(Listing().itemIs(slot, Point(1)), "assertion failed: offsetIsValid\\( off \\)");
}

TEST(GeneratedTest, anEntityCanStandOnABaseWrittenByHand) {
   const Vok::Ptr<Circle> circle = circleFactory("c");
   circle->radiusIs(2);
   EXPECT_EQ(Vok::Ptr<Shape>(circle)->area(), 12u);
   EXPECT_TRUE(Circle::vokType().isA(Shape::vokType()));
   EXPECT_EQ(Circle::vokType().attribute("radius")->id, Shape::vokAttrEnd);
}

TEST(GeneratedTest, collectionsOfValuesRunTheirChecks) {
   diary.clear();
   Bag bag;
   EXPECT_EQ(raised<Vok::RangeError>([&] { bag.pointIs(Point()); }), "no point");
   EXPECT_EQ(raised<Vok::RangeError>([&] { bag.levelIs(Point(10)); }), "index > 9");
   bag.levelIs(Point(9));
   EXPECT_EQ(bag.points() + bag.levels(), 1u);
   bag.countIs(Point(2), -1);
   EXPECT_EQ(bag.count(Point(2)), -1);
   EXPECT_EQ(bag.count(Point(3)), 0);

   Listing listing;
   for (const unsigned slot : {3u, 3u, 7u}) {
      listing.itemIs(Slot(slot), Point(1));
   }
   listing.itemDel(Slot(7));
   EXPECT_EQ(listing.items_(), 10u);
   EXPECT_EQ(diary, (std::vector<std::string>{"item 3", "item 7", "item 7"}));
}

TEST(GeneratedTest, reflectionSaysWhatWasDeclared) {
   EXPECT_EQ(sampleValuesTypes().size(), 18u);
   EXPECT_EQ(sampleValuesTypes()[0]->name(), "Sample::Gear");
   const Vok::EntityType& type = Everything::vokType();
   EXPECT_EQ(type.attributes().size(), 18u);
   EXPECT_EQ(type.attribute("level")->defaultText, "12");
   EXPECT_EQ(type.attribute("on")->doc, "the switch");
   EXPECT_EQ(type.attribute("known")->typeName, "map<Sample::Gear, pointer<Sample::Everything>>");
   EXPECT_EQ(Vehicle::vokType().parameters().size(), 2u);
   EXPECT_EQ(Vehicle::vokType().attribute("heavy")->id + 1, Vehicle::vokType().attribute("speed")->id);
   EXPECT_EQ(VehicleCountSm::vokType().kind(), Vok::Kind::machine);
   EXPECT_EQ(type.make("made")->fullName(), "made");
}

TEST(GeneratedTest, entitiesCreateTheirChildrenOnce) {
   const Vok::Ptr<Everything> owner = everythingFactory("owner");
   EXPECT_EQ(owner->title(), "made");
   const Vok::Ptr<Vehicle> vehicle = owner->vehicleIs(Point(1), Gear::parked);
   EXPECT_EQ(owner->vehicleIs(Point(1), Gear::parked), vehicle);
   EXPECT_NE(
       raised<Vok::ReinstantiationError>([&] { owner->vehicleIs(Point(1), Gear::forwards); }).find("'gear'"),
       std::string::npos);
   EXPECT_EQ(static_cast<Vok::Ptr<Thing>>(vehicle)->weight(), 2u);
   owner->borrowedIs(vehicle);
   EXPECT_EQ(owner->borrowed(Gear::parked), vehicle);
   EXPECT_EQ(raised<Vok::RangeError>([&] { owner->borrowedIs(nullptr); }),
             "null _borrowed parameter to mutator for Sample::Everything::borrowed not allowed\"");
   const Vok::Ptr<Leaf> leaf = owner->childIs("leaf", 3);
   EXPECT_EQ(owner->childIs("leaf", 3), leaf);
   EXPECT_EQ(leaf->vokParent(), owner.get());
   owner->childDel();
   EXPECT_EQ(leaf->vokParent(), nullptr);
   EXPECT_EQ(owner->turnAll(Gear::forwards), 1u);
}

TEST(GeneratedTest, machinesReactToWhatTheyWatch) {
   diary.clear();
   const auto total = everythingFactory("total");
   const auto first = GarageIs("first");
   const auto second = garageFactory("second");
   const auto dir = Vok::make<Vok::Dir>(Vok::Name("dir"));
   auto machine = vehicleCountSmFactory(total, first, dir);
   const auto step = [](std::vector<std::string> expected) {
      EXPECT_EQ(diary, expected);
      diary.clear();
   };
   step({"initialized", "garage first"});
   machine->pendingIs("a");
   machine->pendingIs("a");
   machine->pendingIs("b");
   machine->pendingDelAll();
   step({"pending 1", "pending 2", "pending 1", "pending 0"});
   dir->entityPtrIs(second);
   first->readyIs(true);
   first->vokNotifyCollection(Garage::vehicleAttr);
   first->placeIs(Garage::Place(1, 7), "corner");
   first->vokNotifyCollection(Garage::placeAttr);
   step({"dir second", "ready", "all of first", "place 7", "all places"});
   machine->garageIs(second);
   machine->garageIs(second);
   second->vehicleIs(Point(4), Gear::forwards);
   step({"garage second", "second point 4"});
   EXPECT_TRUE(total->mark(Point(4)));
   second->vehicleIs(Point(13), Gear::forwards);
   second->vehicleIs(Point(5), Gear::forwards);
   step({"second point 13"});
   first->vehicleIs(Point(6), Gear::forwards);
   step({"first point 6", "first point 6"}); // its two reactors, in order of attachment
   const auto third = garageFactory("third"), fourth = garageFactory("fourth");
   machine->currentIs(third);
   third->vehicleIs(Point(7), Gear::forwards);
   machine->currentIs(fourth);
   third->vehicleDelAll();
   fourth->vehicleIs(Point(8), Gear::forwards);
   step({"current point 7", "current point 8"}); // only what the pointer points to
   machine = nullptr;
   first->vehicleDelAll();
   fourth->vehicleDelAll();
   step({});
}

} // namespace
} // namespace Sample
