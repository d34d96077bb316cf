#include "AllocationControl.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>

namespace {

struct Control {
  bool counting = false;
  std::size_t blocks = 0;
  std::size_t bytes = 0;
  std::size_t largest_block = 0;

  bool failing = false;
  std::size_t allowed = 0;

  std::string_view text;  // empty: nothing is looked for
  std::size_t released = 0;
  std::size_t with_text = 0;
};

thread_local Control control;

bool MayPass() {
  if (!control.failing) return true;
  if (control.allowed-- > 0) return true;
  control.failing = false;
  return false;
}

void* Allocate(std::size_t size) {
  if (!MayPass()) return nullptr;
  if (control.counting) {
    ++control.blocks;
    control.bytes += size;
    control.largest_block = std::max(control.largest_block, size);
  }
  // Cleared, so that text found in it was written by its owner.
  return std::calloc(std::max<std::size_t>(size, 1), 1);
}

void Release(void* block) {
  if (block && !control.text.empty()) {
    ++control.released;
    const std::string_view content(static_cast<char*>(block), malloc_usable_size(block));
    if (content.find(control.text) != content.npos) ++control.with_text;
  }
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  void* block = Allocate(size);
  if (!block) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  Release(block);
}
void operator delete[](void* block) noexcept {
  Release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  Release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  Release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  Release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  Release(block);
}

AllocationCount::AllocationCount() {
  control = Control();
  control.counting = true;
}
AllocationCount::~AllocationCount() {
  control = Control();
}
std::size_t AllocationCount::blocks() const {
  return control.blocks;
}
std::size_t AllocationCount::bytes() const {
  return control.bytes;
}
std::size_t AllocationCount::largest_block() const {
  return control.largest_block;
}

AllocationFailure::AllocationFailure(std::size_t allowed) {
  control = Control();
  control.failing = true;
  control.allowed = allowed;
}
AllocationFailure::~AllocationFailure() {
  control = Control();
}
bool AllocationFailure::happened() const {
  return !control.failing;
}

ReleasedText::ReleasedText(std::string_view text) {
  control = Control();
  control.text = text;
}
ReleasedText::~ReleasedText() {
  control = Control();
}
std::size_t ReleasedText::blocks() const {
  return control.released;
}
std::size_t ReleasedText::with_text() const {
  return control.with_text;
}
