#pragma once

#include <functional>
#include <string>
#include <time.h>
#include <vector>

/// Clocks, numbers out of samples, and work done by another process.

namespace Bench {

inline double clockNs(clockid_t clock) {
   timespec now;
   clock_gettime(clock, &now);
   return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}
/// Nanoseconds of wall time; comparable between processes.
inline double nowNs() {
   return clockNs(CLOCK_MONOTONIC);
}
/// Nanoseconds of processor time of this process.
inline double cpuNs() {
   return clockNs(CLOCK_PROCESS_CPUTIME_ID);
}

/// What works of one process are timed by. On a machine that others use too, CLOCK_PROCESS_CPUTIME_ID leaves
/// out the time that they took.
inline clockid_t workClock = CLOCK_MONOTONIC;

/// What one call takes, in nanoseconds.
template <class Work>
double timed(Work&& work, clockid_t clock = workClock) {
   const double start = clockNs(clock);
   work();
   return clockNs(clock) - start;
}

/// Keeps the compiler from leaving out work whose result nobody uses.
template <class T>
void keep(const T& value) {
   asm volatile("" : : "r,m"(value) : "memory");
}

/// The value below which that part of the samples lies; `part` is between 0 and 1.
double quantile(std::vector<double> samples, double part);
inline double median(const std::vector<double>& samples) {
   return quantile(samples, 0.5);
}

/// Another process that runs `work` and hands back numbers. Ended with the object at the latest.
class Child {
  public:
   explicit Child(const std::function<std::vector<double>()>& work);
   Child(Child&& other) noexcept;
   ~Child();

   /// Waits for its end. Raises std::runtime_error with its message when it failed.
   std::vector<double> result();

  private:
   int pid_ = -1;
   int pipe_ = -1;
};

/// A directory of shared memory of this run's own, removed with everything in it at the end.
class ScratchDirectory {
  public:
   ScratchDirectory();
   ~ScratchDirectory();
   ScratchDirectory(const ScratchDirectory&) = delete;
   const std::string& path() const { return path_; }

  private:
   std::string path_;
   int owner_;
};

/// Bytes that the files below a directory occupy.
double allocatedBytes(const std::string& directory);

} // namespace Bench
