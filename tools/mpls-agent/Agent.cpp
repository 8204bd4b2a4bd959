#include "tools/mpls-agent/Agent.h"

#include <cstdio>

namespace agent {

namespace {

// For the signal handlers.
Vok::Activity* running = nullptr;
volatile std::sig_atomic_t stopping = 0;

void onSignal(int) {
   stopping = 1;
   running->stop();
}

void raiseWhenStopping() {
   if (stopping)
      throw Stopped();
}

} // namespace

Process::Process(const Options& options, const std::string& name)
    : database_(activity_, options.socket, name) {
   database_.beforeTurnIs(raiseWhenStopping);
   running = &activity_;
   for (const int signal : {SIGTERM, SIGINT})
      std::signal(signal, onSignal);
}

Process::~Process() {
   for (const int signal : {SIGTERM, SIGINT})
      std::signal(signal, SIG_IGN);
}

void Process::sayReady() {
   if (std::exchange(ready_, true))
      return;
   waitUntil([this] { return database_.isSettled(); });
   std::puts("ready");
   std::fflush(stdout);
}

void Process::serve() {
   if (!stopping)
      activity_.run();
}

} // namespace agent
