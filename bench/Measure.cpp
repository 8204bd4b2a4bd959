#include "bench/Measure.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Bench {

double quantile(std::vector<double> samples, double part) {
   if (samples.empty())
      return NAN;
   std::sort(samples.begin(), samples.end());
   const double place = part * static_cast<double>(samples.size() - 1);
   const auto below = static_cast<std::size_t>(place);
   const std::size_t above = std::min(below + 1, samples.size() - 1);
   return samples[below] + (samples[above] - samples[below]) * (place - static_cast<double>(below));
}

namespace {

void writeAll(int file, const void* bytes, std::size_t count) {
   for (auto* at = static_cast<const char*>(bytes); count > 0;) {
      const ssize_t written = write(file, at, count);
      if (written <= 0)
         _exit(1);
      at += written;
      count -= static_cast<std::size_t>(written);
   }
}

/// Numbers start with their count, a failure's text with the count -1.
[[noreturn]] void runChild(int file, const std::function<std::vector<double>()>& work) {
   double count = -1;
   try {
      const std::vector<double> numbers = work();
      count = static_cast<double>(numbers.size());
      writeAll(file, &count, sizeof count);
      writeAll(file, numbers.data(), numbers.size() * sizeof(double));
   } catch (const std::exception& failure) {
      const std::string text = failure.what();
      writeAll(file, &count, sizeof count);
      writeAll(file, text.data(), text.size());
   }
   _exit(0);
}

} // namespace

Child::Child(const std::function<std::vector<double>()>& work) {
   int ends[2];
   if (pipe(ends) != 0 || (pid_ = fork()) < 0)
      throw std::runtime_error("no other process can be started");
   if (pid_ == 0) {
      close(ends[0]);
      runChild(ends[1], work);
   }
   close(ends[1]);
   pipe_ = ends[0];
}

Child::Child(Child&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), pipe_(std::exchange(other.pipe_, -1)) {}

Child::~Child() {
   if (pipe_ >= 0)
      close(pipe_);
   if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
   }
}

std::vector<double> Child::result() {
   std::string bytes;
   char buffer[4096];
   for (ssize_t got; (got = read(pipe_, buffer, sizeof buffer)) > 0;)
      bytes.append(buffer, static_cast<std::size_t>(got));
   waitpid(std::exchange(pid_, -1), nullptr, 0);
   if (bytes.size() < sizeof(double))
      throw std::runtime_error("the reading process ended without a result");
   std::vector<double> numbers(bytes.size() / sizeof(double));
   std::copy_n(bytes.data(), numbers.size() * sizeof(double), reinterpret_cast<char*>(numbers.data()));
   if (numbers[0] < 0)
      throw std::runtime_error("the reading process failed: " + bytes.substr(sizeof(double)));
   numbers.erase(numbers.begin());
   return numbers;
}

ScratchDirectory::ScratchDirectory() : owner_(getpid()) {
   std::string pattern = "/dev/shm/mplsbench-XXXXXX";
   if (!mkdtemp(pattern.data()))
      throw std::runtime_error("/dev/shm: no directory can be made there; mount shared memory there");
   path_ = pattern;
}

ScratchDirectory::~ScratchDirectory() {
   std::error_code ignored;
   if (getpid() == owner_)
      std::filesystem::remove_all(path_, ignored);
}

double allocatedBytes(const std::string& directory) {
   double bytes = 0;
   for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
      struct stat status;
      if (entry.is_regular_file() && stat(entry.path().c_str(), &status) == 0)
         bytes += static_cast<double>(status.st_blocks) * 512;
   }
   return bytes;
}

} // namespace Bench
