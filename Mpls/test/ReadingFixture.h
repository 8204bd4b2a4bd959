#pragma once

#include "Mpls/test/LfibFixture.h"

#include <random>

/// LFIB tables in private memory, with their writer's and a reader's view.

namespace Mpls {

class ReadingFixture : public testing::Test {
  protected:
   void deliver() {
      while (readerMount.deliver(1000) == 1000)
         continue;
   }

   /// Inverts bytes in the rows of a table; a second time mends them.
   void damage(const std::string& table) const {
      const Pooltab::Descriptor file = folder->open(table + ".rows", Pooltab::Access::write);
      for (off_t at = 8192 + 24; at < 8192 + 64 * 32; at += 32) {
         Vok::U8 byte = 0;
         EXPECT_EQ(pread(file.fd(), &byte, 1, at), 1);
         byte = static_cast<Vok::U8>(~byte);
         EXPECT_EQ(pwrite(file.fd(), &byte, 1, at), 1);
      }
   }

   std::mt19937 random{11};
   const std::shared_ptr<Pooltab::Folder> folder = Pooltab::privateFolder("lfib");
   const Vok::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
   const Vok::Ptr<LfibStatus> seen = lfibStatusFactory("seen");
   /// The log is short, so that a burst overtakes the reader.
   VokPooltab::WriterMount mount{lfib, folder, {.logEntriesLog2 = 4}};
   VokPooltab::ReaderMount readerMount{seen, folder};
};

} // namespace Mpls
