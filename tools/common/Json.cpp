#include "tools/common/Json.h"

#include <utility>

namespace tools {

Json& Json::end() {
   const char bracket = closing_.back();
   closing_.pop_back();
   if (closing_.size() < lineDepth_ && !first_)
      out_ << '\n';
   out_ << bracket;
   if (closing_.empty())
      out_ << '\n';
   first_ = false;
   return *this;
}

void Json::separate() {
   if (std::exchange(afterKey_, false))
      return;
   if (!std::exchange(first_, false))
      out_ << ',';
   if (!closing_.empty() && closing_.size() <= lineDepth_)
      out_ << '\n';
}

} // namespace tools
