#pragma once

#include <stdexcept>
#include <string>
#include <utility>

/// How a program of this folder ends, and how it says that it cannot go on.

namespace tools {

/// The exit status of every program.
enum class Outcome : int {
   done = 0,
   failed = 1,          ///< not found, or what was compared differs
   usage = 2,           ///< the command line or the input file is wrong
   unreachable = 3,     ///< no tables or no database there, or no right to them
   corrupt = 4,         ///< the tables are damaged
   versionMismatch = 5, ///< the tables or the database were written by a build with other declarations
};

/// Ends a verb early. main prints "PROGRAM: what" and, on a line of its own, what to do next.
class Failure : public std::runtime_error {
  public:
   Failure(Outcome outcome, const std::string& what, std::string next = {})
       : std::runtime_error(what), outcome_(outcome), next_(std::move(next)) {}
   Outcome outcome() const { return outcome_; }
   /// What the user can do about it; empty when there is nothing to say.
   const std::string& next() const { return next_; }

  private:
   Outcome outcome_;
   std::string next_;
};

} // namespace tools
