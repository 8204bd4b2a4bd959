#include "vokc/Source/ScalarResolver.h"

#include "vokc/Source/Phrases.h"

#include <algorithm>

namespace vokc {

using Model::Number;
using Model::Type;
using Syntax::Declaration;
using Syntax::Member;
using Kind = Syntax::Member::Kind;

namespace {

/// A bound as its message shows it: a constant of the type with the type's name, a literal as written.
std::string boundText(const Model::Expression& bound, const Type& type) {
   if (bound.kind == Model::Expression::Kind::constant && bound.owner == &type) {
      return type.name + "::" + bound.text;
   }
   return std::string(bound.span.text());
}

} // namespace

const Model::Builtin* ScalarResolver::storage(const Declaration& declaration, const Type& owner,
                                              std::string_view byDefault) const {
   const Model::Builtin* found = declaration.base ? types_.builtin(*declaration.base, owner) : nullptr;
   return found ? found : symbols_.builtin(byDefault);
}

std::optional<Number> ScalarResolver::number(const Member& member, const Type& owner,
                                             const Model::Builtin& type) const {
   const auto value = expressions_.value(*member.value, owner, type);
   return value ? value->number : std::nullopt;
}

void ScalarResolver::resolve(const Declaration& declaration, Model::Enumeration& type) const {
   type.storage = storage(declaration, type, "U8");
   if (!type.storage->isNumber() || type.storage->isSigned || type.storage->bits > 32) {
      diagnostics_.error(declaration.base->span, "an enum is stored in U8, U16 or U32");
      type.storage = symbols_.builtin("U32");
   }
   Number next = 0;
   for (const Member& member : declaration.members) {
      if (member.kind != Kind::enumerator) {
         reportMisplaced(member, "an enum", diagnostics_);
         continue;
      }
      if (member.value) {
         next = number(member, type, *type.storage).value_or(next);
      } else if (next > type.storage->highest()) {
         diagnostics_.error(member.span, numberText(next) + " does not fit " + inQuotes(type.storage->name),
                            "give the enum a wider storage, 'enum " + type.name + " : U32'");
      }
      type.enumerators.push_back({member.name.text, member.docs, member.name.span, next});
      ++next;
   }
   if (type.enumerators.empty()) {
      diagnostics_.error(type.span, "enum " + inQuotes(type.name) + " has no enumerators");
   }
}

void ScalarResolver::resolve(const Declaration& declaration, Model::Bounded& type) const {
   type.storage = storage(declaration, type, "U32");
   if (!declaration.base) {
      diagnostics_.error(type.span, "the type that " + inQuotes(type.name) + " bounds is missing",
                         "write 'bounded " + type.name + " : U32'");
   } else if (!type.storage->isNumber() && type.storage->sort != Model::Builtin::Sort::string) {
      diagnostics_.error(declaration.base->span,
                         "numbers and String can be bounded, not " + inQuotes(type.storage->name));
      type.storage = symbols_.builtin("U32");
   }
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::constant) {
         const Model::Builtin* number = type.isText() ? symbols_.builtin("U32") : type.storage;
         const Type* own = member.type ? types_.value(*member.type, type) : number;
         auto value = own ? expressions_.value(*member.value, type, *own) : nullptr;
         if (value) {
            type.constants.push_back(
                {member.name.text, member.docs, member.name.span, own, std::move(value)});
         }
      }
   }
   type.isText() ? boundedText(declaration, type) : boundedNumber(declaration, type);
}

void ScalarResolver::boundedNumber(const Declaration& declaration, Model::Bounded& type) const {
   const Member* byDefault = nullptr;
   bool hasRange = false;
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::range) {
         hasRange = true;
         type.lower = expressions_.value(*member.value, type, *type.storage);
         type.upper = expressions_.value(*member.upper, type, *type.storage);
      } else if (member.kind == Kind::byDefault) {
         byDefault = &member;
      } else if (member.kind == Kind::directive && phrase(member) == "sums unchecked") {
         type.sumsUnchecked = true;
      } else if (member.kind != Kind::constant) {
         reportMisplaced(member, "a bounded number", diagnostics_);
      }
   }
   if (!hasRange) {
      diagnostics_.error(type.span, inQuotes(type.name) + " has no bounds",
                         "write 'range <lowest> to <highest>;'");
   }
   if (!type.lower || !type.upper) {
      type.lower.reset();
      type.upper.reset();
      return;
   }
   if (*type.lower->number > *type.upper->number) {
      diagnostics_.error(type.upper->span, "the range ends at " + numberText(*type.upper->number) +
                                               ", below its start " + numberText(*type.lower->number));
   }
   type.message = type.name + "::value < " + boundText(*type.lower, type) + " or > " +
                  boundText(*type.upper, type) + " not allowed";
   if (byDefault) {
      type.byDefault = expressions_.value(*byDefault->value, type, type);
   }
}

void ScalarResolver::boundedText(const Declaration& declaration, Model::Bounded& type) const {
   bool hasLength = false;
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::length) {
         hasLength = true;
         type.length = expressions_.value(*member.value, type, *symbols_.builtin("U32"));
      } else if (member.kind != Kind::constant) {
         reportMisplaced(member, "a bounded String", diagnostics_);
      }
   }
   if (!hasLength) {
      diagnostics_.error(type.span, inQuotes(type.name) + " has no bound", "write 'length <most bytes>;'");
   }
   if (type.length) {
      type.message = type.name + "::bytes > " + boundText(*type.length, type) + " not allowed";
   }
}

void ScalarResolver::resolve(const Declaration& declaration, Model::Flags& type) const {
   for (const Member& member : declaration.members) {
      const std::string text = phrase(member);
      if (member.kind == Kind::enumerator) {
         flag(member, type);
      } else if (member.kind == Kind::directive && text == "text bare") {
         type.textBare = true;
      } else if (member.kind == Kind::directive && text == "log unchecked") {
         type.logUnchecked = true;
      } else {
         reportMisplaced(member, "a flag set", diagnostics_);
      }
   }
   if (type.flags.empty()) {
      diagnostics_.error(type.span, "flag set " + inQuotes(type.name) + " has no flags");
   } else if (type.textBare && type.flags.size() != 1) {
      diagnostics_.error(type.span, "'text bare' needs a single flag, and " + inQuotes(type.name) + " has " +
                                        std::to_string(type.flags.size()));
   }
   static constexpr std::string_view digits = "0123456789abcdef";
   std::string hex;
   for (std::uint32_t mask = type.mask(); mask != 0; mask >>= 4) {
      hex.insert(hex.begin(), digits[mask & 0xf]);
   }
   type.message = type.name + "::value > 0x" + hex + " not allowed";
}

void ScalarResolver::flag(const Member& member, Model::Flags& type) const {
   if (!member.value) {
      diagnostics_.error(member.span, "the bit of flag " + inQuotes(member.name.text) + " is missing",
                         "write '" + member.name.text + " = <bit>;'");
      return;
   }
   const auto bit = number(member, type, *symbols_.builtin("U32"));
   if (!bit) {
      return;
   }
   if (*bit > 31) {
      diagnostics_.error(member.value->span, "a flag set has bits 0 to 31, no bit " + numberText(*bit));
      return;
   }
   const auto same = std::find_if(type.flags.begin(), type.flags.end(),
                                  [&](const Model::Enumerator& other) { return other.number == *bit; });
   if (same != type.flags.end()) {
      diagnostics_.error(member.value->span, "bit " + numberText(*bit) + " is taken");
      diagnostics_.note(same->span, "it is " + inQuotes(same->name));
      return;
   }
   type.flags.push_back({member.name.text, member.docs, member.name.span, *bit});
}

} // namespace vokc
