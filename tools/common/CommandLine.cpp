#include "tools/common/CommandLine.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>

namespace tools {

namespace {

template <OptionValue T>
CLI::Option* declare(CLI::App& app, const std::string& name, T& value, const std::string& help) {
   CLI::Option* option = app.add_option(name, value, help);
   if constexpr (std::same_as<T, std::vector<std::string>>)
      option->default_str(""); // an empty list is no default to show
   return option;
}

/// Empty for a number that is not negative, and for what is no number at all, of which the library tells.
std::string whyNoSeconds(const std::string& text) {
   return std::strtod(text.c_str(), nullptr) >= 0 ? "" : text + " is no number of seconds, give 0 or more";
}

} // namespace

Command Command::verb(const std::string& name, const std::string& help) const {
   return Command(*app_->add_subcommand(name, help));
}

Command Command::needsVerb() const {
   app_->require_subcommand(1);
   return *this;
}

Command Command::does(std::function<void()> work) const {
   app_->callback(std::move(work));
   return *this;
}

template <OptionValue T>
Command Command::argument(const std::string& name, T& value, const std::string& help) const {
   declare(*app_, name, value, help)->required();
   return *this;
}

Command Command::optionalArgument(const std::string& name, std::string& value,
                                  const std::string& help) const {
   declare(*app_, name, value, help);
   return *this;
}

template <OptionValue T>
Command Command::option(const std::string& name, T& value, const std::string& help) const {
   declare(*app_, name, value, help)->allow_extra_args(false);
   return *this;
}

Command Command::seconds(const std::string& name, double& value, const std::string& help) const {
   app_->add_option(name, value, help)->check(CLI::Validator(whyNoSeconds, "NONNEGATIVE"));
   return *this;
}

Command Command::flag(const std::string& name, bool& value, const std::string& help) const {
   app_->add_flag(name, value, help);
   return *this;
}

Command Command::needs(const std::string& name, const std::string& other) const {
   app_->get_option(name)->needs(app_->get_option(other));
   return *this;
}

bool Command::isGiven(const std::string& name) const {
   return app_->count(name) > 0;
}

template Command Command::argument(const std::string&, std::string&, const std::string&) const;
template Command Command::argument(const std::string&, std::vector<std::string>&, const std::string&) const;
template Command Command::option(const std::string&, std::string&, const std::string&) const;
template Command Command::option(const std::string&, std::vector<std::string>&, const std::string&) const;
template Command Command::option(const std::string&, Vok::U64&, const std::string&) const;
template Command Command::option(const std::string&, std::optional<Vok::U64>&, const std::string&) const;

Program::Program(std::unique_ptr<CLI::App> app) : Command(*app), owned_(std::move(app)) {}

Program::Program(const std::string& name, const std::string& what, const std::string& footer)
    : Program(std::make_unique<CLI::App>(what, name)) {
   app_->footer(footer);
   // What verbs and their options take over has to stand before the first of them.
   app_->option_defaults()->always_capture_default();
   app_->fallthrough();
}

Program::~Program() = default;

void Program::beforeVerb(std::function<void()> work) {
   app_->parse_complete_callback(std::move(work));
}

std::optional<Outcome> Program::parse(int argc, char** argv) {
   try {
      app_->parse(argc, argv);
   } catch (const CLI::ParseError& error) {
      return app_->exit(error) == 0 ? Outcome::done : Outcome::usage;
   }
   return {};
}

int Program::report(const Failure& failure) const {
   for (const std::string& line : {std::string(failure.what()), failure.next()})
      if (!line.empty())
         std::fprintf(stderr, "%s: %s\n", app_->get_name().c_str(), line.c_str());
   return static_cast<int>(failure.outcome());
}

} // namespace tools
