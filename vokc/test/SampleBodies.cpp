// The bodies that Sample.vok leaves to be written by hand. The machine keeps a diary of what it was told.

#include "vokc/test/SampleBodies.h"

namespace Sample {

std::vector<std::string> diary;

Vok::U32 Stretch::last() const {
   return base_ + size_ - 1;
}

Point::Point(Vok::U32 index) : index_(index), gear_(Gear::forwards) {}
Vok::String Point::stringValue() const {
   return "point " + std::to_string(index_);
}
Point Point::origin() {
   return {};
}
Vok::U32 Point::distance(const Point& other, Gear) const {
   return other.index_ - index_;
}
void Point::moveBy(Vok::U32 steps) {
   index_ += steps;
}

// Only the last digit counts.
bool ByHand::operator==(const ByHand& other) const {
   return number_ % 10 == other.number_ % 10;
}
std::strong_ordering ByHand::operator<=>(const ByHand& other) const {
   return number_ % 10 <=> other.number_ % 10;
}
Vok::U32 ByHand::hash() const {
   return number_ % 10;
}
Vok::String ByHand::stringValue() const {
   return "#" + std::to_string(number_);
}
void ByHand::parseText(Vok::TextParser& parser, ByHand& value) {
   parser.expect("#");
   Vok::typeOf<Vok::U32>().parse(parser, &value.number_);
}
void ByHand::writeLog(Vok::NboAttrLog::Writer& log) const {
   log.u8(static_cast<Vok::U8>(number_));
}
void ByHand::readLog(Vok::NboAttrLog::Reader& log, ByHand& value) {
   value.number_ = log.u8();
}

void Bag::verifyPoint(const Point& point) const {
   if (!point)
      throw Vok::RangeError("no point");
}
void Bag::verifyIndex(Vok::U32 index) const {
   if (index > 9)
      throw Vok::RangeError("index > 9");
}

Vok::U32 Listing::items_() const {
   return 10 * items();
}
void Listing::handleItem(Slot index) {
   diary.push_back("item " + std::to_string(index.value()));
}

Vok::U32 Thing::weight() const {
   return 1;
}
Vok::U32 Vehicle::weight() const {
   return 2;
}

Vok::U32 Everything::total() const {
   return static_cast<Vok::U32>(turn_);
}
Vok::U32 Everything::turnAll(Gear to) {
   gearIs(to);
   return static_cast<Vok::U32>(turnInc());
}
Vok::Ptr<Thing> Everything::find(const Point& point) const {
   return thing(point);
}
Vok::U32 Everything::version() {
   return most;
}
void Everything::handleInitialized() {
   titleIs("made");
}

const Vok::EntityType& Shape::vokType() {
   static const Vok::EntityType type("Sample::Shape", Vok::Kind::entity, "", nullptr, {}, {});
   return type;
}
Vok::U32 Circle::area() const {
   return 3 * radius_ * radius_;
}

void VehicleCountSm::handleInitialized() {
   diary.push_back("initialized");
   garageIs(first());
   initializedIs(true);
}
void VehicleCountSm::handlePending() {
   diary.push_back("pending " + std::to_string(pendings()));
}
void VehicleCountSm::handleCurrentVehicle(const Point& key) {
   diary.push_back("current " + key.stringValue());
}
void VehicleCountSm::setOutput(const Point& point) {
   total()->markIs(point, garageSetHas(point));
}
void VehicleCountSm::handleDirEntry(const Vok::Name& key) {
   diary.push_back("dir " + key.text());
}
void VehicleCountSm::handleFirstVehicle(const Point& key) {
   diary.push_back("first " + key.stringValue());
}
void VehicleCountSm::handleFirstVehicles() {
   diary.push_back("all of first");
}
void VehicleCountSm::handleFirstReady() {
   diary.push_back("ready");
}
void VehicleCountSm::handlePlace() {
   diary.push_back("all places");
}
void VehicleCountSm::handlePlace(const Garage::Place& place) {
   diary.push_back("place " + std::to_string(place.number()));
}
void VehicleCountSm::handleGarage(const Vok::Name& garageKey) {
   diary.push_back("garage " + garageKey.text());
}
void VehicleCountSm::handleVehicle(const Vok::Name& garageKey, const Point& key) {
   diary.push_back(garageKey.text() + " " + key.stringValue());
   const Vok::Ptr<Garage> from = garage(garageKey);
   from->vehicleHas(key) ? garageSetIs(key)->garageIs(garageKey) : garageSetDel(key);
   setOutput(key);
   if (key.index() == 13)
      garageDel(garageKey); // ends the reactor that called
}

} // namespace Sample
