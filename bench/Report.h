#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

/// What was measured, and how it compares.

namespace Bench {

/// The name under which our own numbers are filed.
inline constexpr const char* ours = "mpls";

/// How a number is judged.
enum class Judge {
   faster,   ///< peer / ours, as large as possible
   overhead, ///< ours / peer, as small as possible
   absolute  ///< ours, as small as possible
};

/// What a work has to reach beside a peer.
struct Goal {
   const char* work;
   const char* peer; ///< empty for Judge::absolute
   Judge judge;
   double floor;
   double aim;
};

/// One subject of measurement; the unit of its numbers.
struct Work {
   const char* name;
   const char* unit;
};

class Report {
  public:
   /// Files one round's number. Rounds of the same work, size and contestant add up to its samples.
   void add(const std::string& work, std::uint64_t size, const std::string& who, double value);
   /// Files why something could not be measured.
   void skip(const std::string& what, const std::string& why);

   void print(std::ostream& out) const;
   void printJson(std::ostream& out) const;

  private:
   using Samples = std::vector<double>;
   using Contestants = std::map<std::string, Samples>;
   struct Key {
      std::string work;
      std::uint64_t size;
      auto operator<=>(const Key&) const = default;
   };

   void printWork(std::ostream& out, const Work& work, std::uint64_t size, const Contestants& all) const;

   std::map<Key, Contestants> samples_;
   std::map<std::string, std::string> skipped_;
};

/// Every work in the order of the table, and the goals of one beside one peer (null when none is set).
const std::vector<Work>& works();
const Goal* goalOf(const std::string& work, const std::string& peer);

} // namespace Bench
