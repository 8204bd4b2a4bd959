#include "vokc/Source/Phrases.h"

#include <algorithm>
#include <array>

namespace vokc {

using Syntax::Member;
using Kind = Syntax::Member::Kind;

namespace {

std::string_view kindWord(Kind kind) {
   static constexpr std::array<std::string_view, 14> words = {
       "an enumerator", "a constant", "an attribute", "a derived attribute", "an invariant",  "a range",
       "a length",      "a default",  "an operation", "a handler",           "a constructor", "a reactor",
       "a type",        "a phrase"};
   return words[static_cast<std::size_t>(kind)];
}

} // namespace

std::string phrase(const Member& member) {
   std::string text;
   for (const Syntax::Word& word : member.words) {
      text += (text.empty() ? "" : " ") + word.text;
   }
   return text;
}

void reportMisplaced(const Member& member, std::string_view where, Diagnostics& diagnostics) {
   static const std::vector<std::string> known = {
       "unhashable",     "unordered",   "order by hand", "hash by hand",  "equality by hand",
       "text by hand",   "text none",   "text bare",     "log unchecked", "log by hand",
       "sums unchecked", "near",        "no factory",    "factory",       "constant",
       "derived",        "invariant",   "range",         "length",        "default",
       "operation",      "constructor", "react",         "handler"};
   if (member.kind == Kind::directive) {
      const std::string text = phrase(member);
      const bool isKnown = std::find(known.begin(), known.end(), text) != known.end() ||
                           text.starts_with("near ") || text.starts_with("factory ");
      if (isKnown) {
         diagnostics.error(member.span, inQuotes(text) + " says nothing about " + std::string(where));
      } else {
         diagnostics.error(member.span, "unknown phrase " + inQuotes(text), didYouMean(text, known));
      }
      return;
   }
   diagnostics.error(member.span,
                     std::string(kindWord(member.kind)) + " cannot stand in " + std::string(where));
}

} // namespace vokc
