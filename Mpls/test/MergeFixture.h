#pragma once

#include "Hubdb/EntityManager.h"
#include "Hubdb/MountGroup.h"
#include "Vok/Trace.h"

#include <gtest/gtest.h>

#include <functional>

/// What the tests of both merging machines stand on: a database in this process, and sources in it.

namespace Mpls {

/// `Types` names the machine's parts: Sm, Input, Output, factories, and where its sources are mounted.
template <class Types>
class MergeFixture : public testing::Test {
  protected:
   using Input = typename Types::Input;

   /// Creates a source in the database, and its name in the directory: the mount can complete.
   Vok::Ptr<Input> sourceIs(const std::string& name) {
      const auto made = manager->template own<Input>(Types::folder + ("/" + name));
      sourceNameIs(name);
      return made;
   }
   /// Only the name: the machine mounts it and waits.
   void sourceNameIs(const std::string& name) { dir->entityPtrNameIs(name); }

   void smIs() { sm = Types::factory(output, dir, cli, manager); }

   void TearDown() override { manager->waitingDelAll(); } // a machine that waits keeps the manager alive

   void settle() {
      while (activity.turn(0))
         ;
   }

   /// Stops on removal of a directory entry, on a failed mount, and on an output that is in use.
   void expectStops() {
      EXPECT_DEATH(sm->handleConfigSource("nobody"), "assertion failed: config\\( source \\)");
      sourceNameIs("gone");
      EXPECT_DEATH(dir->entityPtrDel("gone"), "unhandled config-input removal of entry gone");
      const auto mounter = Types::mounterFactory("x", sm);
      EXPECT_DEATH(mounter->doMountsComplete(Hubdb::MountStatus::forbidden, manager),
                   "assertion failed: mountStatus == Hubdb::mountSuccess\\(\\)");
      const auto ready = Types::outputFactory("ready");
      ready->readyIs(true);
      EXPECT_DEATH(Types::factory(ready, dir, cli, manager),
                   "assertion failed: !mergedConfig\\(\\)->ready\\(\\): merged config should not be ready on "
                   "startup");
      // Before anything else, even a line of the trace.
      sm->initializedIs(false);
      const std::function<void()> handlers[] = {
          [&] { sm->handleConfigDirEntry("gone"); }, [&] { sm->handleConfigSource("cli"); },
          [&] { sm->handleConfigEntry("cli", Types::key()); }, [&] { sm->setOutputForEntry(Types::key()); },
          [&] { sm->handlePendingMount(); }};
      for (const auto& handle : handlers)
         EXPECT_DEATH((Vok::traceSettingIs(std::string(Types::facility) + "/8 > stderr"), handle()),
                      "^[A-Za-z]+[.]cpp:[0-9]+: [^\n]*assertion failed: initialized\\(\\)");
   }

   /// Ready comes once, when the last of the mounts under way is there, late ones included.
   void expectReadinessAfterAllMounts() {
      class Told final : public Types::Output::Notifiee {
        public:
         using Types::Output::Notifiee::Notifiee;
         void onReady() override { ++count; }
         int count = 0;
      } told(output);
      sourceNameIs("a");
      sourceNameIs("b");
      {
         Vok::TraceCapture capture(std::string(Types::facility) + "/8");
         smIs();
         EXPECT_EQ(sm->pendingMounts(), 2u);
         settle();
         sourceIs("a");
         sourceNameIs("late");
         settle();
         EXPECT_EQ(told.count, 0);
         EXPECT_EQ(sm->pendingMounts(), 2u);
         sourceIs("b");
         sourceIs("late");
         settle();
         std::string mounted;
         for (const std::string& line : capture.lines())
            if (line.starts_with("doMountsComplete"))
               mounted += line + "\n";
         EXPECT_EQ(mounted, "doMountsComplete mountStatus success for a\n"
                            "doMountsComplete mountStatus success for b\n"
                            "doMountsComplete mountStatus success for late\n");
      }
      EXPECT_EQ(sm->configs(), 4u);
      EXPECT_EQ(sm->pendingMounts(), 0u);
      EXPECT_TRUE(output->ready());
      sourceIs("later");
      settle();
      EXPECT_EQ(sm->configs(), 5u);
      EXPECT_EQ(told.count, 1);
   }

   Vok::Activity activity;
   const Vok::Ptr<Hubdb::EntityManager> manager =
       Vok::make<Hubdb::EntityManager>(activity, Hubdb::Catalogue({Types::entityTypes()}));
   Vok::Ptr<Vok::Dir> dir = Vok::make<Vok::Dir>("dynamic");
   const Vok::Ptr<Input> cli = Types::inputFactory("cli");
   const Vok::Ptr<typename Types::Output> output = Types::outputFactory("merged");
   Vok::Ptr<typename Types::Sm> sm;
};

} // namespace Mpls
