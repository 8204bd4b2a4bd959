#pragma once

#include <functional>
#include <string>
#include <string_view>

/// The text of an input file, which stands in memory only while it is read.

namespace mplsctl {

/// Calls use( name, text ) with the content of a file, or of standard input for "-"; the name is the one by
/// which errors name the file. Raises Failure( usage ) when it cannot be read.
void withFileText(const std::string& path,
                  const std::function<void(const std::string& name, std::string_view text)>& use);

} // namespace mplsctl
