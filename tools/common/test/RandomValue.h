#pragma once

#include "Vok/EntityType.h"
#include "Vok/Flags.h"

#include <random>

/// Random values of any type of the model, by reflection alone.

namespace tools::test {

class RandomValue {
  public:
   explicit RandomValue(unsigned seed) : random_(seed) {}

   unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
   /// Gives a constructed value other content; what will not take any stays as it was made.
   void fill(const Vok::Type& type, void* value);
   /// The log form of another value of the type, changed in some places.
   std::vector<Vok::U8> mutated(std::vector<Vok::U8> bytes);
   std::string mutated(std::string text);

  private:
   void fillFields(const Vok::ValueType& type, void* value);
   void fillFromText(const Vok::Type& type, void* value, std::string_view text);
   void fillFromLog(const Vok::Type& type, void* value);

   std::mt19937 random_;
};

std::vector<Vok::U8> logOf(const Vok::Type& type, const void* value);

/// Fills an entity's attributes, and makes and fills what belongs below it.
void fillEntity(RandomValue& random, Vok::Entity& entity);

} // namespace tools::test
