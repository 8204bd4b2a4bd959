// Writes a table of its own rows to shared memory, and reads it from another process.

#include "Lab/Beacons.h"
#include "Pooltab/VokPooltab.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Says what changes, from inside the mutators.
class Listener final : public Lab::Beacons::Notifiee {
  public:
   explicit Listener(Vok::Ptr<const Lab::Beacons> beacons) : Notifiee(beacons), beacons_(beacons) {}
   void onBeacon(const Kinet::IpGenAddr& router) override {
      ++heard;
      if (!beacons_->quiet())
         std::printf("heard  %s\n", beacons_->beacon(router).pooltabString().c_str());
   }
   int heard = 0;

  private:
   Vok::Ptr<const Lab::Beacons> beacons_;
};

Lab::Beacon beacon(std::string_view router, Vok::U32 label, std::string_view interface) {
   return Lab::Beacon(Kinet::IpGenAddr(router), Kinet::MplsLabel(label), Kinet::IntfId(interface));
}

void check(bool condition, const char* what) {
   if (!condition)
      throw std::runtime_error(what);
}

/// Run in a process of its own, which knows of the rows only what the tables say.
void readBeacons(const VokPooltab::MountInfo& where) {
   const auto beacons = Lab::beaconsFactory("reader");
   const VokPooltab::ReaderMount mount(beacons, where);
   check(mount.isMounted(), "the reader could not mount the table");
   int labelled = 0;
   for (const Lab::Beacon& row : beacons->beaconEach())
      labelled += row.isLabelled();
   std::printf("reader sees %llu routers, %d of them labelled\n",
               static_cast<unsigned long long>(beacons->beacons()), labelled);
   check(beacons->beacons() == 3 && labelled == 2, "the reader sees other rows than were written");
   check(beacons->beacon(Kinet::IpGenAddr("192.0.2.2")).interface() == Kinet::IntfId("east1"),
         "the reader sees an old row");
}

/// True when `work`, run in another process, raised nothing.
template <class Work>
bool succeedsElsewhere(Work work) {
   std::fflush(stdout);
   const pid_t child = fork();
   if (child == 0) {
      try {
         work();
         std::fflush(stdout);
         _exit(0);
      } catch (const std::exception& error) {
         std::fprintf(stderr, "reader: %s\n", error.what());
         _exit(1);
      }
   }
   int status = 0;
   return waitpid(child, &status, 0) == child && status == 0;
}

void share(const VokPooltab::MountInfo& where) {
   const auto beacons = Lab::beaconsFactory("writer");
   VokPooltab::WriterMount mount(beacons, where);
   const Listener listener(beacons);
   beacons->beaconIs(beacon("192.0.2.1", 900001, "east0"));
   beacons->beaconIs(beacon("192.0.2.2", 900002, "east0"));
   beacons->beaconIs(beacon("192.0.2.2", 900002, "east1"));
   beacons->beaconIs(Lab::Beacon(Kinet::IpGenAddr("2001:db8::3"), {}, Kinet::IntfId("west0")));
   mount.flush();
   check(listener.heard == 4, "a change was not told");
   check(succeedsElsewhere([&] { readBeacons(where); }), "the reader failed");

   try {
      beacon("192.0.2.4", 9'000'000, "west0");
      check(false, "a label out of range was taken");
   } catch (const Vok::RangeError& error) {
      std::printf("refused: %s\n", error.what());
   }
}

} // namespace

int main() {
   std::string root = (std::filesystem::temp_directory_path() / "mpls-consumer-XXXXXX").string();
   if (!mkdtemp(root.data())) {
      std::perror(root.c_str());
      return 1;
   }
   int status = 0;
   try {
      share({.pool = "lab", .root = root});
   } catch (const std::exception& error) {
      std::fprintf(stderr, "consumer: %s\n", error.what());
      status = 1;
   }
   std::filesystem::remove_all(root);
   return status;
}
