#pragma once

#include <atomic>
#include <new>
#include <sched.h>
#include <stdexcept>
#include <sys/mman.h>

namespace Bench {

/// Memory that this process shares with the children it starts: how they tell each other where they are.
template <class T>
class SharedPage {
  public:
   SharedPage() {
      void* page = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
      if (page == MAP_FAILED)
         throw std::runtime_error("no shared memory is left");
      page_ = ::new (page) T();
   }
   ~SharedPage() { munmap(page_, sizeof(T)); }
   SharedPage(const SharedPage&) = delete;
   T* operator->() { return page_; }
   T* get() { return page_; }

  private:
   T* page_;
};

/// Gives way to other processes until the condition holds.
template <class Condition>
void await(Condition&& condition) {
   while (!condition())
      sched_yield();
}

} // namespace Bench
