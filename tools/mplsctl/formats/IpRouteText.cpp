#include "tools/mplsctl/formats/IpRouteText.h"

#include "tools/mplsctl/formats/RouteWords.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace mplsctl {

namespace {

/// The words of one line. A comment ends it.
class Words {
  public:
   explicit Words(std::string_view line) : at_(line.data()), end_(line.data() + line.size()) {}

   /// The next word; empty at the end.
   std::string_view next() {
      while (at_ != end_ && isBlank(*at_))
         ++at_;
      if (at_ != end_ && *at_ == '#')
         at_ = end_;
      const char* const start = at_;
      while (at_ != end_ && !isBlank(*at_))
         ++at_;
      return {start, static_cast<std::size_t>(at_ - start)};
   }
   std::string_view peek() const { return Words(*this).next(); }
   /// What follows a keyword.
   std::string_view after(std::string_view keyword) {
      const std::string_view word = next();
      if (word.empty())
         throw BadWord(fmt::format("nothing follows '{}'", keyword));
      return word;
   }
   std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

  private:
   /// `ip -oneline` prints a backslash for the end of a line.
   static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\\'; }

   const char* at_;
   const char* end_;
};

bool oneOf(std::string_view word, std::initializer_list<std::string_view> words) {
   return std::find(words.begin(), words.end(), word) != words.end();
}

/// Attributes that `ip` knows and the tables do not hold.
bool isLostFlag(std::string_view word) {
   return oneOf(word, {"dead", "linkdown", "onlink", "pervasive", "offload", "trap", "notify", "unresolved",
                       "rt_offload", "rt_trap", "rt_offload_failed"});
}
bool isLostOption(std::string_view word) {
   return oneOf(word,
                {"table", "scope", "mtu", "advmss", "nhid", "pref", "src", "realm", "expires", "error"});
}

/// One line, from the label or from `nexthop` on, into the open route.
class LineReader {
  public:
   LineReader(RouteBuilder& routes, std::uint32_t line, std::string_view text)
       : routes_(routes), line_(line), words_(text) {}

   /// The attributes behind the label. Returns whether the route has a next hop of its own, outside a list.
   bool route() {
      bool hasOwn = false;
      for (std::string_view word = words_.next(); !word.empty(); word = words_.next()) {
         if (word == "nexthop") {
            nextHops(hasOwn);
            break;
         }
         if (isHopWord(word) && !hasOwn) {
            hasOwn = true;
            routes_.hop();
         }
         if (!hopWord(word) && !optionWord(word))
            throw BadWord(fmt::format("unexpected word '{}'", word));
      }
      return hasOwn;
   }

   /// `HOP [ weight NUMBER ] { nexthop ... }`.
   void nextHops(bool hasOwn) {
      if (hasOwn)
         throw BadWord("a route has either a next hop of its own or a list of 'nexthop', not both");
      routes_.hop();
      bool empty = true;
      for (std::string_view word = words_.next(); !word.empty(); word = words_.next()) {
         if (word == "nexthop") {
            requireHop(empty);
            routes_.hop();
            empty = true;
            continue;
         }
         empty = empty && !isHopWord(word);
         if (word == "weight")
            hop().weightIs(numberWord("weight", words_.after(word), 1, 256));
         else if (!hopWord(word) && !optionWord(word))
            throw BadWord(fmt::format("unexpected word '{}'", word));
      }
      requireHop(empty);
   }

  private:
   Mpls::LfibMplsVia& hop() { return routes_.openHops().back(); }

   static bool isHopWord(std::string_view word) { return word == "via" || word == "dev" || word == "as"; }
   static void requireHop(bool empty) {
      if (empty)
         throw BadWord("a next hop needs 'as', 'via' or 'dev'");
   }

   /// True for a word that says something of the last next hop.
   bool hopWord(std::string_view word) {
      if (word == "via") {
         const std::string_view next = words_.after(word);
         const bool plain = next.find_first_of(".:") != std::string_view::npos;
         hop().nextHopIs(plain ? addressWord(next) : addressWord(next, words_.after(next)));
      } else if (word == "dev") {
         hop().intfIs(interfaceWord(words_.after(word)));
      } else if (word == "as") {
         if (words_.peek() == "to")
            words_.next();
         OutStack out;
         out.pushWord(words_.after(word));
         out.applyTo(hop());
         if (out.lostNull())
            routes_.note(line_, OutStack::lostNullNote);
      } else {
         return false;
      }
      return true;
   }

   bool optionWord(std::string_view word) {
      if (word == "proto" || word == "protocol") {
         const SourceName name = protocolWord(words_.after(word));
         routes_.sourceIs(line_, name.source);
         if (!name.note.empty())
            routes_.note(line_, name.note);
      } else if (word == "metric" || word == "preference") {
         routes_.metricIs(numberWord(word, words_.after(word), 0, Mpls::RouteMetric::max));
      } else if (word == "ttl-propagate") {
         routes_.ttlModeIs(ttlPropagateWord(words_.after(word)));
      } else if (isLostFlag(word)) {
         routes_.skipped(line_, fmt::format("flag '{}'", word));
      } else if (isLostOption(word)) {
         words_.after(word);
         routes_.skipped(line_, fmt::format("'{}'", word));
      } else {
         return false;
      }
      return true;
   }

   RouteBuilder& routes_;
   std::uint32_t line_;
   Words words_;
};

/// The file, line by line. A route stays open until the next one begins.
class TextReader {
  public:
   explicit TextReader(std::string name) : routes_(std::move(name)) {}

   RouteFile read(std::string_view text) {
      std::uint32_t line = 1;
      while (!text.empty()) {
         std::uint32_t lines = 1;
         const std::size_t size = lineSize(text, lines);
         readLine(line, text.substr(0, size));
         text.remove_prefix(std::min(size + 1, text.size()));
         line += lines;
      }
      finish();
      return routes_.take(format_);
   }

  private:
   enum class Verb { show, add, replace, del };

   /// The bytes up to the end of a line that no backslash continues; counts the lines it takes.
   static std::size_t lineSize(std::string_view text, std::uint32_t& lines) {
      std::size_t end = 0;
      for (;; ++lines) {
         const void* const newline = std::memchr(text.data() + end, '\n', text.size() - end);
         if (!newline)
            return text.size();
         end = static_cast<const char*>(newline) - text.data();
         if (end == 0 || text[end - 1] != '\\')
            return end;
         ++end;
      }
   }

   void readLine(std::uint32_t line, std::string_view text) {
      Words words(text);
      const std::string_view first = words.next();
      if (first.empty())
         return;
      try {
         if (first == "nexthop")
            return nextHop(line, words);
         finish();
         const bool isBatched = first == "route" || first[0] == '-';
         if (format_ == Format::empty)
            format_ = isBatched ? Format::ipBatch : Format::ipRouteText;
         if (isBatched)
            batched(line, first, words);
         else
            begin(Verb::show, line, text);
      } catch (const BadWord& error) {
         routes_.bad(line, error.what());
      }
   }

   void nextHop(std::uint32_t line, const Words& words) {
      if (!routes_.isOpen() && underBadLine_)
         return;
      if (!routes_.isOpen())
         throw BadWord("'nexthop' without a route above it");
      LineReader(routes_, line, words.rest()).nextHops(hasOwnHop_);
   }

   void batched(std::uint32_t line, std::string_view first, Words words) {
      if (first != "route") {
         const bool mpls = first == "-M" || ((first == "-f" || first == "-family") && words.next() == "mpls");
         if (!mpls || words.next() != "route")
            throw BadWord("expected [ -f mpls ] route add|replace|del LABEL ...");
      }
      const std::string_view verb = words.next();
      if (verb == "add")
         begin(Verb::add, line, words.rest());
      else if (oneOf(verb, {"replace", "change"}))
         begin(Verb::replace, line, words.rest());
      else if (oneOf(verb, {"del", "delete"}))
         begin(Verb::del, line, words.rest());
      else
         throw BadWord(fmt::format("'route {}' is none of route add, replace, change and del", verb));
   }

   void begin(Verb verb, std::uint32_t line, std::string_view text) {
      verb_ = verb;
      hasOwnHop_ = false;
      underBadLine_ = true; // unless its label opens a route
      hasOwnHop_ = readIpRoute(routes_, line, text);
   }

   void finish() {
      if (!routes_.isOpen())
         return;
      if (verb_ == Verb::del)
         takeOut();
      else
         routes_.finish(verb_ == Verb::replace);
   }

   void takeOut() {
      if (!routes_.remove(routes_.label()))
         routes_.note(routes_.line(), "'route del' of a label that the file does not add");
      routes_.drop();
   }

   RouteBuilder routes_;
   Format format_ = Format::empty;
   Verb verb_ = Verb::show;
   bool hasOwnHop_ = false;    ///< the open route has a next hop outside a list
   bool underBadLine_ = false; ///< the lines of next hops that follow belong to no route
};

} // namespace

bool readIpRoute(RouteBuilder& routes, std::uint32_t line, std::string_view text) {
   Words words(text);
   std::string_view label = words.next();
   if (label == "unicast")
      label = words.next();
   if (label.empty())
      throw BadWord("a label is missing");
   routes.begin(line, incomingLabelWord(label));
   return LineReader(routes, line, words.rest()).route();
}

RouteFile readIpRouteText(std::string name, std::string_view text) {
   return TextReader(std::move(name)).read(text);
}

} // namespace mplsctl
