#include "Vok/Errors.h"

namespace Vok {

namespace {

String internalText(std::string_view unit, unsigned line, std::string_view signature,
                    std::string_view condition, std::string_view message) {
   String text(unit);
   text.append(":").append(std::to_string(line)).append(" ").append(signature);
   text.append(" -- assertion failed(").append(condition).append("): ").append(message);
   return text;
}

String reinstantiationText(std::string_view fullName, std::string_view parameter, std::string_view newValue,
                           std::string_view currentValue) {
   String text("Reinstantiating the entity with fullName ");
   text.append(fullName).append(" where constructor parameter attribute '").append(parameter);
   text.append("' has a different value of ").append(newValue);
   text.append(" than the current value of ").append(currentValue).append(" not allowed");
   return text;
}

} // namespace

InternalError::InternalError(std::string_view unit, unsigned line, std::string_view signature,
                             std::string_view condition, std::string_view message)
    : Error(internalText(unit, line, signature, condition, message)) {}

ReinstantiationError::ReinstantiationError(std::string_view fullName, std::string_view parameter,
                                           std::string_view newValue, std::string_view currentValue)
    : Error(reinstantiationText(fullName, parameter, newValue, currentValue)) {}

} // namespace Vok
