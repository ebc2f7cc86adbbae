#include "heapprobe.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

bool counting = false;
size_t live = 0, peak = 0;

void* allocate(size_t n) {
  void* p = malloc(n ? n : 1);
  if (p && counting) {
    live += malloc_usable_size(p);
    if (live > peak) peak = live;
  }
  return p;
}

void release(void* p) {
  if (p && counting) {
    size_t n = malloc_usable_size(p);
    live = n < live ? live - n : 0;
  }
  free(p);
}

}  // namespace

namespace wp::test {

void heapProbeStart() {
  live = peak = 0;
  counting = true;
}

size_t heapProbeStop() {
  counting = false;
  return peak;
}

}  // namespace wp::test

// Every plain form is replaced, so that allocation and release always pair up
// (the sanitizers check that they do).
void* operator new(size_t n) {
  if (void* p = allocate(n)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t n) {
  return operator new(n);
}
void* operator new(size_t n, const std::nothrow_t&) noexcept {
  return allocate(n);
}
void* operator new[](size_t n, const std::nothrow_t&) noexcept {
  return allocate(n);
}
void operator delete(void* p) noexcept {
  release(p);
}
void operator delete[](void* p) noexcept {
  release(p);
}
void operator delete(void* p, size_t) noexcept {
  release(p);
}
void operator delete[](void* p, size_t) noexcept {
  release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  release(p);
}
