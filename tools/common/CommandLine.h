#pragma once

#include "tools/common/Failure.h"

#include "Vok/Types.h"

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What stands on a command line: verbs, their options, and what they do. The library that parses it is known
/// to CommandLine.cpp alone, for it costs every file that includes it seconds of compilation.

namespace CLI {
class App;
}

namespace tools {

/// What an option can be read into. A vector takes several values; an optional stays empty without one.
template <class T>
concept OptionValue = std::same_as<T, std::string> || std::same_as<T, std::vector<std::string>> ||
    std::same_as<T, Vok::U64> || std::same_as<T, std::optional<Vok::U64>>;

/// A verb, or the program itself: a handle to copy, valid as long as its Program. What is declared on it is
/// read into variables that outlive the parsing; what they hold at the declaration is the default, which the
/// help shows. All calls but verb() return the command itself, so that a declaration is one chain.
class Command {
  public:
   explicit Command(CLI::App& app) : app_(&app) {}

   /// Declares a verb of this command.
   Command verb(const std::string& name, const std::string& help) const;
   /// The user has to give one of the verbs.
   Command needsVerb() const;
   /// What the command does once all of the command line has been read; it may raise Failure.
   Command does(std::function<void()> work) const;

   /// A word that has to be given, at the place where it is declared; a vector takes one word or more.
   template <OptionValue T>
   Command argument(const std::string& name, T& value, const std::string& help = {}) const;
   /// A word that may be left out.
   Command optionalArgument(const std::string& name, std::string& value, const std::string& help) const;
   /// "--name VALUE"; into a vector once for each time it is given.
   template <OptionValue T>
   Command option(const std::string& name, T& value, const std::string& help) const;
   /// "--name SECONDS", a number that is not negative.
   Command seconds(const std::string& name, double& value, const std::string& help) const;
   /// "--name", true when given; "--name,--other" has two names.
   Command flag(const std::string& name, bool& value, const std::string& help) const;

   /// The option or flag `name` is of use with `other` alone.
   Command needs(const std::string& name, const std::string& other) const;
   /// True once the command line that was read gives the option.
   bool isGiven(const std::string& name) const;

  protected:
   CLI::App* app_;
};

/// The command line of a program. Options of the program may stand behind its verb too.
class Program : public Command {
  public:
   /// `footer` ends the help.
   Program(const std::string& name, const std::string& what, const std::string& footer);
   ~Program();
   Program(const Program&) = delete;

   /// Called when all has been read, before the verb does its work.
   void beforeVerb(std::function<void()> work);
   /// Reads the command line, and does what its verb says. Returns how the program ends when it is the
   /// help or a wrong usage that was printed instead; raises what the verb raises.
   std::optional<Outcome> parse(int argc, char** argv);
   /// Prints on standard error what failed, and what to do next; returns the exit status.
   int report(const Failure& failure) const;

  private:
   explicit Program(std::unique_ptr<CLI::App> app);
   std::unique_ptr<CLI::App> owned_;
};

} // namespace tools
