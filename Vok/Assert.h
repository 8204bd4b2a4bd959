#pragma once

#include <source_location>
#include <string_view>

/// Two ways for a broken invariant to come to light. Neither is for bad data: what a user, a file or another
/// process can get wrong raises one of the errors in "Vok/Errors.h".
///
/// These are macros because the text of the condition, as it stands in the code, is the message.

/// Stops the process unless the condition holds, with
/// "<file>:<line>: <signature>: assertion failed: <condition>" on standard error and, at level 0, in the
/// trace. The condition may hold commas: vokAssert(key == Key{1, 2}).
#define vokAssert(...) (static_cast<bool>(__VA_ARGS__) ? void(0) : ::Vok::assertionFailed(#__VA_ARGS__, {}))

/// The same; the text goes on with ": <message>". The message is evaluated only when it is needed.
#define vokAssertMessage(condition, message)                                                                 \
   (static_cast<bool>(condition) ? void(0) : ::Vok::assertionFailed(#condition, (message)))

/// Raises Vok::InternalError unless the condition holds, for a caller that can go on without what it asked
/// for:
/// "<file>:<line> <signature> -- assertion failed(<condition>): <message>".
#define vokRequire(condition, message)                                                                       \
   (static_cast<bool>(condition) ? void(0) : ::Vok::requirementFailed(#condition, (message)))

namespace Vok {

[[noreturn, gnu::cold]] void
assertionFailed(std::string_view condition, std::string_view message,
                std::source_location where = std::source_location::current()) noexcept;

[[noreturn, gnu::cold]] void requirementFailed(std::string_view condition, std::string_view message,
                                               std::source_location where = std::source_location::current());

} // namespace Vok
