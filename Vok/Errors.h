#pragma once
// The errors that the runtime and generated code raise. Bad data raises one of these and leaves the
// state as it was; a broken invariant of the program stops the process instead (Vok/Assert.h).

#include "Vok/Types.h"

#include <stdexcept>

namespace Vok {

/// What all errors of the library derive from.
class Error : public std::runtime_error {
  public:
   using std::runtime_error::runtime_error;
};

/// A value outside its bounds: "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed".
class RangeError : public Error {
  public:
   using Error::Error;
};

/// A text that is not the text form of the type asked for.
class ParseError : public Error {
  public:
   using Error::Error;
};

/// An attribute log that ends inside a value or carries a length that cannot be.
class LogError : public Error {
  public:
   using Error::Error;
};

/// A value without a hash was asked for one.
class UnhashableError : public Error {
  public:
   explicit UnhashableError(std::string_view typeName) : Error("unhashable type: " + String(typeName)) {}
};

/// A caller broke a rule that the library checks without stopping the process. The text is the source
/// unit and line, the function's signature, the condition and the message:
/// "MplsLfib.cpp:57 void f() -- assertion failed(a == b): what it means".
class InternalError : public Error {
  public:
   InternalError(std::string_view unit, unsigned line, std::string_view signature, std::string_view condition,
                 std::string_view message);
};

/// A shared table holds bytes that no writer of this version wrote.
class CorruptionDetectedError : public Error {
  public:
   using Error::Error;
};

/// An entity was asked for again under the same key with another constructor parameter.
class ReinstantiationError : public Error {
  public:
   ReinstantiationError(std::string_view fullName, std::string_view parameter, std::string_view newValue,
                        std::string_view currentValue);
};

} // namespace Vok
