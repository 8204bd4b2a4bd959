#include "Pooltab/Holder.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unistd.h>

namespace Pooltab {

namespace {

std::string textOf(const char* path) {
   std::ifstream file(path);
   return {std::istreambuf_iterator<char>(file), {}};
}

std::string commandOfThisProcess() {
   std::string command = textOf("/proc/self/cmdline");
   std::replace(command.begin(), command.end(), '\0', ' ');
   std::replace(command.begin(), command.end(), '\n', ' ');
   constexpr std::size_t enough = 120;
   command.resize(std::min(command.size(), enough));
   while (!command.empty() && command.back() == ' ')
      command.pop_back();
   return command;
}

} // namespace

Process thisProcess() {
   Process process{static_cast<U64>(getpid()), 0};
   // The second field is the command in parentheses and may hold blanks; the start time is the 20th after it.
   const std::string stat = textOf("/proc/self/stat");
   std::istringstream fields(stat.substr(std::min(stat.size(), stat.rfind(')') + 1)));
   std::string field;
   for (int i = 0; i < 20 && fields >> field; ++i)
      continue;
   process.startTime = std::strtoull(field.c_str(), nullptr, 10);
   return process;
}

void writeHolder(const Descriptor& file) {
   const Process process = thisProcess();
   std::string boot = textOf("/proc/sys/kernel/random/boot_id");
   std::erase(boot, '\n');
   const std::string text = "pid " + std::to_string(process.pid) + "\nstart " +
                            std::to_string(process.startTime) + "\nboot " + boot + "\ncommand " +
                            commandOfThisProcess() + "\n";
   // The text only serves messages: the lock stands without it.
   if (ftruncate(file.fd(), 0) != 0 || pwrite(file.fd(), text.data(), text.size(), 0) < 0)
      return;
}

std::string readHolder(const Descriptor& file) {
   std::array<char, 1024> buffer;
   const auto length = pread(file.fd(), buffer.data(), buffer.size(), 0);
   std::istringstream lines(std::string(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0));
   std::string pid, start, command;
   for (std::string line; std::getline(lines, line);) {
      const auto blank = line.find(' ');
      const std::string name = line.substr(0, blank),
                        value = blank == line.npos ? "" : line.substr(blank + 1);
      (name == "pid" ? pid : name == "start" ? start : name == "command" ? command : line) = value;
   }
   if (pid.empty())
      return "an unknown process";
   return "process " + pid + " (" + command + ", started " + start + " ticks after boot)";
}

} // namespace Pooltab
