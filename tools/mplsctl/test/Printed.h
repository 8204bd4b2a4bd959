#pragma once

#include "tools/common/Output.h"

#include <functional>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace mplsctl {

/// What a function wrote.
inline std::string printed(const std::function<void(tools::Output&)>& print) {
   const int file = memfd_create("printed", 0);
   {
      tools::Output out(file);
      print(out);
      out.flush();
   }
   std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
   EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
   close(file);
   return text;
}

} // namespace mplsctl
