#pragma once

#include <csignal>
#include <functional>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace PooltabTest {

/// A child process that the test runs instruction by instruction, to stop it wherever it likes.
class Stepped {
  public:
   /// The child runs `prepare` freely and stops before `work`; what `work` returns is its exit status.
   Stepped(const std::function<void()>& prepare, const std::function<int()>& work) : pid_(fork()) {
      if (pid_ == 0) {
         prepare();
         if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(255);
         raise(SIGSTOP);
         const int result = work();
         raise(SIGSTOP); // the end of the work: what follows is not stepped through
         _exit(result);
      }
      waitpid(pid_, &status_, 0);
   }
   ~Stepped() {
      if (isRunning()) {
         kill(pid_, SIGKILL);
         waitpid(pid_, &status_, 0);
      }
   }
   Stepped(const Stepped&) = delete;

   /// Sanitizers put tens of instructions where the program has one: too many to stop at each.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
   static constexpr bool isQuick = false;
#else
   static constexpr bool isQuick = true;
#endif
   /// False where tracing is not allowed.
   static bool isPossible() {
      return Stepped([] {}, [] { return 0; }).isRunning();
   }

   bool isRunning() const {
      return WIFSTOPPED(status_);
   }
   /// Runs one instruction. Returns false at the end of the work.
   bool step() {
      ptrace(PTRACE_SINGLESTEP, pid_, nullptr, nullptr);
      waitpid(pid_, &status_, 0);
      return isRunning() && WSTOPSIG(status_) != SIGSTOP;
   }
   /// Lets the child run to its end and returns its exit status.
   int finish() {
      while (isRunning()) {
         ptrace(PTRACE_CONT, pid_, nullptr, nullptr);
         waitpid(pid_, &status_, 0);
      }
      return WEXITSTATUS(status_);
   }

  private:
   pid_t pid_;
   int status_ = 0;
};

} // namespace PooltabTest
