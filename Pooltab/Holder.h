#pragma once

#include "Pooltab/File.h"

#include <string>

/// The text of a lock file: which process holds the lock.

namespace Pooltab {

struct Process {
   U64 pid;
   U64 startTime; ///< clock ticks after boot; with the pid it names a process for as long as the machine is
                  ///< up
};

Process thisProcess();

/// Puts this process's pid, start time, command and the machine's boot id into the file.
void writeHolder(const Descriptor& file);

/// "process 4711 (command ..., started ...)", or "an unknown process" when the file says nothing of use.
std::string readHolder(const Descriptor& file);

} // namespace Pooltab
