#include "tools/mplsctl/sources/StoredSession.h"

#include "tools/common/Paths.h"

#include "Cli/ConfigSession.h"

#include <fmt/core.h>

namespace mplsctl {

namespace paths = tools::paths;
using Cli::ConfigSession;
using Hubdb::MountFilter;
using tools::config::SessionPart;

namespace {

std::string checkedName(const std::string& name) {
   if (name.empty() || name.find('/') != std::string::npos)
      throw Failure(Outcome::usage, "'" + name + "' cannot be the name of a session",
                    "give a word without '/'");
   return name;
}

} // namespace

StoredSession::StoredSession(Connection& connection, const std::string& name)
    : connection_(connection), name_(checkedName(name)) {}

std::string StoredSession::command(std::string_view verb) const {
   return fmt::format("'mplsctl config session {} {}'", verb, name_);
}

bool StoredSession::isThere() {
   connection_.database.mount(
       {{std::string(paths::sessions), Vok::Dir::vokType().name(), MountFilter::names()}});
   return connection_.manager()->get<Vok::Dir>(paths::sessions)->entityPtrHas(Vok::Name(name_));
}

void StoredSession::requireNone() {
   if (isThere())
      throw Failure(Outcome::failed, "there is a configuration session " + name_ + " already",
                    "go on with it, or end it with " + command("abort"));
}

void StoredSession::requireSome() {
   if (!isThere())
      throw Failure(Outcome::failed, "there is no configuration session " + name_,
                    "begin one with " + command("start"));
}

void StoredSession::requireBegun() {
   requireSome();
   if (!connection_.present(paths::sessionBegun(name_), ConfigSession::vokType()))
      throw Failure(
          Outcome::failed,
          "the configuration session " + name_ +
              " does not know what it began from: what started or ended it was cut off, or is of an "
              "earlier build",
          "end it with " + command("abort") + ", and begin anew");
}

StoredSession::Side StoredSession::present(const std::function<std::string(std::string_view)>& pathOf) {
   return Side::of(
       [&](const SessionPart& part) { return connection_.present(pathOf(part.path), *part.type); });
}

StoredSession::Side StoredSession::own(const std::function<std::string(std::string_view)>& pathOf) {
   return Side::of(
       [&](const SessionPart& part) { return connection_.input(pathOf(part.path), *part.type, false); });
}

StoredSession::Side StoredSession::running() {
   return present([](std::string_view path) { return std::string(path); });
}

StoredSession::Side StoredSession::copy() {
   return present([&](std::string_view path) { return paths::candidate(name_, path); });
}

StoredSession::Side StoredSession::base() {
   return present([&](std::string_view path) { return paths::sessionBase(name_, path); });
}

StoredSession::Side StoredSession::ownRunning() {
   return own([](std::string_view path) { return std::string(path); });
}

StoredSession::Side StoredSession::ownCopy() {
   return own([&](std::string_view path) { return paths::candidate(name_, path); });
}

StoredSession::Side StoredSession::ownBase() {
   return own([&](std::string_view path) { return paths::sessionBase(name_, path); });
}

void StoredSession::begin() {
   const Side original = running();
   const Side copied = ownCopy();
   const Side begunFrom = ownBase();
   copied.become(original);
   begunFrom.become(original);
   connection_.database.settle();
   connection_.database.own<ConfigSession>(paths::sessionBegun(name_));
   connection_.database.settle();
}

void StoredSession::discard() {
   // Without the sign the rest means nothing, so that it goes first.
   const std::string sign = paths::sessionBegun(name_);
   if (connection_.present(sign, ConfigSession::vokType())) {
      connection_.database.own<ConfigSession>(sign);
      del({sign});
   }
   ownBase();
   ownCopy();
   std::vector<std::string> all;
   for (const SessionPart& part : tools::config::sessionParts()) {
      all.push_back(paths::sessionBase(name_, part.path));
      all.push_back(paths::candidate(name_, part.path));
   }
   del(all);
}

void StoredSession::del(const std::vector<std::string>& owned) {
   for (const std::string& path : owned)
      connection_.manager()->del(path);
   // Nobody acknowledges a deletion; but who answers this has seen it.
   connection_.database.mount(
       {{paths::candidate(name_, ""), Vok::Dir::vokType().name(), MountFilter::names()}});
}

} // namespace mplsctl
